// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/agentx.hpp"

// net-snmp's headers need this order.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <net-snmp/agent/agent_callbacks.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "tools/kvrn-agentd/library_log.hpp"
#include "tools/kvrn-agentd/tree.hpp"

namespace agentd {
namespace {

constexpr int ping_period_s = 1;  // also the longest time that a restarted master is without the tree

// How long a master may be silent. For a sink of SNMPv3 informs that does not answer, snmpd stops for many seconds.
constexpr std::chrono::seconds longest_answer{30};

// Numbers from RFC 2741. The net-snmp header that defines them is not installed.
constexpr int register_pdu = 3;
constexpr long duplicate_registration = 263;
// net-snmp registers the tree by itself when it has connected, but it does not report the master's answer. That
// registration gets the last priority, so that it does no harm. claim() makes a second one, whose answer is known.
constexpr int last_priority = 255;

// Not a member of AgentX: net-snmp frees the argument of a callback when it ends, so the callbacks get none.
std::atomic<AgentX::Link> link_state = AgentX::Link::unknown;

std::atomic<unsigned> link_losses = 0;

// Only the serving thread uses these.
netsnmp_session* session = nullptr;  // with the master; null without a session
unsigned connection = 0;             // another number after the end of a master
Clock::time_point turn_began;

int on_start(int, int, void* opened, void*) {
  session = static_cast<netsnmp_session*>(opened);
  // A stream loses nothing. net-snmp would send a request again after a second, and a slow master would take a
  // notification twice.
  session->retries = 0;
  session->timeout = std::chrono::microseconds(longest_answer).count();
  return 0;
}
int on_stop(int, int, void*, void*) {
  session = nullptr;
  link_state = AgentX::Link::down;
  ++link_losses;
  // A master that hangs still has what was sent to it. A master that has ended may have lost it.
  if (Clock::now() - turn_began < longest_answer) ++connection;
  return 0;
}

int on_claim_answered(int operation, netsnmp_session*, int, netsnmp_pdu* pdu, void*) {
  // No answer: run() claims again, or the link is lost.
  if (operation != NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE) return 1;
  // A slow master may receive a second claim after it accepted the first. It refuses the second.
  if (link_state == AgentX::Link::up) return 1;
  if (pdu->errstat == SNMP_ERR_NOERROR)
    link_state = AgentX::Link::up;
  else
    link_state = pdu->errstat == duplicate_registration ? AgentX::Link::taken : AgentX::Link::refused;
  return 1;
}

// Asks the master for the tree. It does not unregister the tree first: net-snmp's master would then drop the
// registration of another sub-agent.
void claim() {
  netsnmp_pdu* pdu = ::snmp_pdu_create(register_pdu);
  if (pdu == nullptr) return;
  pdu->sessid = session->sessid;
  pdu->priority = usual_priority;
  if (::snmp_add_null_var(pdu, tree_root.data(), tree_root.size()) == nullptr ||
      ::snmp_async_send(session, pdu, on_claim_answered, nullptr) == 0)
    ::snmp_free_pdu(pdu);
}

// Settings that must be made before init_agent(), in addition to set_environment().
void configure(const std::string& socket) {
  // This program logs each change of the link once. net-snmp would log every failed attempt.
  silence_library();
  for (const int switched_on : {NETSNMP_DS_LIB_DONT_READ_CONFIGS, NETSNMP_DS_LIB_DONT_PERSIST_STATE,
                                NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE})
    (void)::netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, switched_on, 1);
  (void)::netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);  // sub-agent
  (void)::netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_NO_CONNECTION_WARNINGS, 1);
  (void)::netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, socket.c_str());
}

}  // namespace

AgentX::AgentX(std::string socket, Tables tables, Turn turn)
    : socket_(std::move(socket)), tables_(std::move(tables)), turn_(std::move(turn)) {}

void AgentX::run(const std::atomic<bool>& stop) {
  configure(socket_);
  if (!start()) throw std::runtime_error("the SNMP library cannot be started");
  Clock::time_point next_claim;
  while (!stop) {
    // Returns at least once per attempt to connect.
    turn_began = Clock::now();
    (void)::agent_check_and_process(1);
    turn_(link_state == Link::up, connection);
    if (session == nullptr || link_state == Link::up || Clock::now() < next_claim) continue;
    claim();
    next_claim = Clock::now() + std::chrono::seconds(ping_period_s);
  }
  ::snmp_shutdown(program);
}

bool AgentX::start() {
  if (::init_agent(program) != 0) return false;
  // Must follow init_agent(), which sets its own interval.
  (void)::netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL, ping_period_s);
  (void)::snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, on_start, nullptr);
  (void)::snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_STOP, on_stop, nullptr);
  if (!serve(tree_root, tables_, last_priority)) return false;
  ::init_snmp(program);
  if (session == nullptr) link_state = Link::down;
  return true;
}

AgentX::Link AgentX::link() const { return link_state; }

unsigned AgentX::losses() const { return link_losses; }

std::string AgentX::text_of(Link link) const {
  std::string connected = "connected to the master agent at " + socket_;
  if (link == Link::up) return connected;
  if (link == Link::taken) return connected + ", refused: another sub-agent serves the tree";
  if (link == Link::refused) return connected + ", refused: the master does not take the tree";
  // A missing permission is the most likely set-up error, so it is named. A missing socket just means: no master.
  const bool refused = ::access(socket_.c_str(), W_OK) != 0 && errno == EACCES;
  return "no master agent at " + socket_ + (refused ? ": permission denied" : "");
}

}  // namespace agentd
