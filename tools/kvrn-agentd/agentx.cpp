// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/agentx.hpp"

// net-snmp's headers want this order.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <net-snmp/agent/agent_callbacks.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <span>
#include <type_traits>
#include <utility>

#include "tools/kvrn-agentd/tree.hpp"

namespace agentd {
namespace {

using snmp_host::Object;

constexpr const char* program = "kvrn-agentd";
constexpr int ping_period_s = 1;  // also how long a restarted master waits for the tree

// Not the agent's own: net-snmp frees the argument of a callback when it ends.
std::atomic<AgentX::Link> link_state = AgentX::Link::unknown;

std::atomic<unsigned> link_losses = 0;

int on_start(int, int, void*, void*) {
  link_state = AgentX::Link::up;
  return 0;
}
int on_stop(int, int, void*, void*) {
  link_state = AgentX::Link::down;
  ++link_losses;
  return 0;
}

static_assert(std::is_same_v<oid, snmp_host::Arc>);

std::span<const oid> name_of(const netsnmp_variable_list& variable) { return {variable.name, variable.name_length}; }

void set_value(netsnmp_variable_list& variable, const Object& object) {
  if (object.type == SNMP_TYPE_OCTET_STRING) {
    ::snmp_set_var_typed_value(&variable, ASN_OCTET_STR, object.bytes.data(), object.bytes.size());
  } else if (object.type == SNMP_TYPE_OBJECT_ID) {
    const auto& name = object.object_id;
    ::snmp_set_var_typed_value(&variable, ASN_OBJECT_ID, name.data(), name.size() * sizeof(oid));
  } else if (object.type == SNMP_TYPE_INTEGER) {
    const long number = static_cast<std::int32_t>(object.number);
    ::snmp_set_var_typed_value(&variable, ASN_INTEGER, &number, sizeof number);
  } else {
    // The tags of the module are the protocol's.
    const unsigned long number = object.number;
    ::snmp_set_var_typed_value(&variable, object.type, &number, sizeof number);
  }
}

void answer_get(netsnmp_agent_request_info* info, netsnmp_request_info* request, const snmp_host::ObjectTable& table) {
  if (const Object* object = table.find(name_of(*request->requestvb)))
    set_value(*request->requestvb, *object);
  else
    ::netsnmp_set_request_error(info, request, SNMP_NOSUCHINSTANCE);
}

// Behind the table's end the request is left as it is: it goes on to what the master has there.
void answer_next(netsnmp_request_info* request, const snmp_host::ObjectTable& table) {
  const Object* object = table.next(name_of(*request->requestvb), request->inclusive != 0);
  if (object == nullptr) return;
  ::snmp_set_var_objid(request->requestvb, object->oid.data(), object->oid.size());
  set_value(*request->requestvb, *object);
}

// A bulk request comes here as one GETNEXT after the other, by net-snmp's own helper.
int answer(netsnmp_mib_handler* handler, netsnmp_handler_registration*, netsnmp_agent_request_info* info,
           netsnmp_request_info* requests) {
  const TablePtr table = (*static_cast<AgentX::Tables*>(handler->myvoid))();
  for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
    if (request->processed != 0) continue;
    if (info->mode == MODE_GET)
      answer_get(info, request, *table);
    else if (info->mode == MODE_GETNEXT)
      answer_next(request, *table);
    else
      ::netsnmp_set_request_error(info, request, SNMP_ERR_NOTWRITABLE);
  }
  return SNMP_ERR_NOERROR;
}

// What is set before init_agent(), beside prepare().
void configure(const std::string& socket) {
  // What goes wrong with the link is logged once a change; the library would say it at every try.
  ::snmp_disable_log();
  (void)::netsnmp_register_loghandler(NETSNMP_LOGHANDLER_NONE, LOG_DEBUG);
  for (const int switched_on : {NETSNMP_DS_LIB_DONT_READ_CONFIGS, NETSNMP_DS_LIB_DONT_PERSIST_STATE,
                                NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE})
    (void)::netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, switched_on, 1);
  (void)::netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);  // sub-agent
  (void)::netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_NO_CONNECTION_WARNINGS, 1);
  (void)::netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, socket.c_str());
}

}  // namespace

AgentX::AgentX(std::string socket, Tables tables) : socket_(std::move(socket)), tables_(std::move(tables)) {}

// net-snmp shall read and write nothing but the socket: no settings, no MIB modules, no certificates, nothing that
// persists.
void AgentX::prepare() {
  for (const char* name : {"MIBS", "MIBDIRS", "SNMPCONFPATH"}) (void)::setenv(name, "", 1);
  (void)::setenv("SNMP_PERSISTENT_DIR", "/dev/null", 1);
}

bool AgentX::run(const std::atomic<bool>& stop) {
  // In a process with threads each use of a descriptor locks the table of descriptors, which is 2 % of a walk. This
  // thread shares none with the others: it neither logs nor hands out a descriptor.
  (void)::unshare(CLONE_FILES);
  configure(socket_);
  if (!start()) return false;
  // Returns at least as often as the link is tried.
  while (!stop) (void)::agent_check_and_process(1);
  ::snmp_shutdown(program);
  return true;
}

bool AgentX::start() {
  if (::init_agent(program) != 0) return false;
  // After init_agent(), which sets its own.
  (void)::netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL, ping_period_s);
  (void)::snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, on_start, nullptr);
  (void)::snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_STOP, on_stop, nullptr);
  netsnmp_handler_registration* registration =
      ::netsnmp_create_handler_registration("kvrn", answer, tree_root.data(), tree_root.size(), HANDLER_CAN_RONLY);
  if (registration == nullptr) return false;
  registration->handler->myvoid = &tables_;
  if (::netsnmp_register_handler(registration) != MIB_REGISTERED_OK) return false;
  ::init_snmp(program);
  if (link_state == Link::unknown) link_state = Link::down;
  return true;
}

AgentX::Link AgentX::link() const { return link_state; }

unsigned AgentX::losses() const { return link_losses; }

std::string AgentX::text_of(Link link) const {
  if (link == Link::up) return "connected to the master agent at " + socket_;
  // The likeliest mistake of a set-up. That there is no socket is just what a master that is not there looks like.
  const bool refused = ::access(socket_.c_str(), W_OK) != 0 && errno == EACCES;
  return "no master agent at " + socket_ + (refused ? ": permission denied" : "");
}

}  // namespace agentd
