// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/varbind.hpp"

#include <type_traits>

namespace agentd {

static_assert(std::is_same_v<oid, snmp_host::Arc>);

int set_value(netsnmp_variable_list& variable, const snmp_host::Object& object) {
  if (object.type == KVRN_SNMP_TYPE_OCTET_STRING)
    return ::snmp_set_var_typed_value(&variable, ASN_OCTET_STR, object.bytes.data(), object.bytes.size());
  if (object.type == KVRN_SNMP_TYPE_OBJECT_ID) {
    const auto& name = object.object_id;
    return ::snmp_set_var_typed_value(&variable, ASN_OBJECT_ID, name.data(), name.size() * sizeof(oid));
  }
  if (object.type == KVRN_SNMP_TYPE_INTEGER) {
    const long number = static_cast<std::int32_t>(object.number);
    return ::snmp_set_var_typed_value(&variable, ASN_INTEGER, &number, sizeof number);
  }
  // The module uses the protocol's type tags.
  const unsigned long number = object.number;
  return ::snmp_set_var_typed_value(&variable, object.type, &number, sizeof number);
}

}  // namespace agentd
