// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/tree_handler.hpp"

// net-snmp's headers need this order.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <exception>

#include "tools/kvrn-agentd/varbind.hpp"

namespace agentd {
namespace {

using snmp_host::Object;

std::span<const oid> name_of(const netsnmp_variable_list& variable) { return {variable.name, variable.name_length}; }

void answer_get(netsnmp_agent_request_info* info, netsnmp_request_info* request, const snmp_host::ObjectTable& table) {
  const Object* object = table.find(name_of(*request->requestvb));
  if (object == nullptr)
    ::netsnmp_set_request_error(info, request, SNMP_NOSUCHINSTANCE);
  else if (set_value(*request->requestvb, *object) != 0)
    ::netsnmp_set_request_error(info, request, SNMP_ERR_GENERR);
}

// At the end of the table the request stays unchanged: the master then continues with the next object that it knows.
void answer_next(netsnmp_agent_request_info* info, netsnmp_request_info* request, const snmp_host::ObjectTable& table) {
  const Object* object = table.next(name_of(*request->requestvb), request->inclusive != 0);
  if (object == nullptr) return;
  if (::snmp_set_var_objid(request->requestvb, object->oid.data(), object->oid.size()) != 0 ||
      set_value(*request->requestvb, *object) != 0)
    ::netsnmp_set_request_error(info, request, SNMP_ERR_GENERR);
}

// @return null when there is no memory: the caller is C, so no exception may pass through it
TablePtr table_of(const Tables& tables) {
  try {
    return tables();
  } catch (const std::exception&) {
    return nullptr;
  }
}

// A helper of net-snmp splits a bulk request into single GETNEXT requests.
int answer(netsnmp_mib_handler* handler, netsnmp_handler_registration*, netsnmp_agent_request_info* info,
           netsnmp_request_info* requests) {
  const TablePtr table = table_of(*static_cast<Tables*>(handler->myvoid));
  if (table == nullptr) return SNMP_ERR_GENERR;
  for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
    if (request->processed != 0) continue;
    if (info->mode == MODE_GET)
      answer_get(info, request, *table);
    else if (info->mode == MODE_GETNEXT)
      answer_next(info, request, *table);
    else
      ::netsnmp_set_request_error(info, request, SNMP_ERR_NOTWRITABLE);
  }
  return SNMP_ERR_NOERROR;
}

}  // namespace

bool serve(std::span<const snmp_host::Arc> root, Tables& tables, int priority) {
  netsnmp_handler_registration* registration =
      ::netsnmp_create_handler_registration("kvrn", answer, root.data(), root.size(), HANDLER_CAN_RONLY);
  if (registration == nullptr) return false;
  registration->handler->myvoid = &tables;
  registration->priority = priority;
  return ::netsnmp_register_handler(registration) == MIB_REGISTERED_OK;
}

}  // namespace agentd
