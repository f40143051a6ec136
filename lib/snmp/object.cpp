// SPDX-License-Identifier: MIT
#include "snmp/object.hpp"

namespace kvrn {

int add_object(void* host, const Oid& oid, uint8_t type, const void* value) {
  kvrn_snmp_value record;  // the host does not read bytes 1 to 7
  record.type = type;
  if (type == KVRN_SNMP_TYPE_OCTET_STRING) {
    record.as.text = *static_cast<const kvrn_snmp_octets*>(value);
  } else if (type == KVRN_SNMP_TYPE_OBJECT_ID) {
    record.as.oid = static_cast<const kvrn_snmp_oid_word*>(value);
  } else if (type == KVRN_SNMP_TYPE_INTEGER || type >= KVRN_SNMP_TYPE_COUNTER32) {
    // For the host every tag from Counter32 on is a 32-bit number, even a tag that the module does not use.
    record.as.number = *static_cast<const uint32_t*>(value);
  } else {
    if (::abz_set_error != nullptr) ::abz_set_error("invalid type (0x%02x) specified", type);
    return -1;
  }
  return ::odb_add(host, oid.words(), &record);
}

}  // namespace kvrn
