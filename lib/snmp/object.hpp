// SPDX-License-Identifier: MIT
// Adds objects of the module's tree to the database of the host.
#pragma once

#include <kvrn/snmp.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <iterator>

// The host's functions are weak here, because programs without these functions load the library too.
#pragma weak odb_add
#pragma weak odb_destroy
#pragma weak abz_set_error
#pragma weak abz_clear_error

namespace kvrn {

// An identifier below the module's own identifier, in the format of the host.
class Oid {
 public:
  static constexpr std::size_t max_arcs = KVRN_SNMP_OID_WORDS - 6;

  constexpr Oid(std::initializer_list<kvrn_snmp_oid_word> arcs) {
    words_[0] += static_cast<kvrn_snmp_oid_word>(arcs.size());
    std::copy(arcs.begin(), arcs.end(), words_ + 7);
  }
  constexpr const kvrn_snmp_oid_word* words() const { return words_; }

 private:
  kvrn_snmp_oid_word words_[1 + KVRN_SNMP_OID_WORDS]{6, 43, 6, 1, 4, 1, 47474};
};

// Adds one object. `value` points to a uint32_t for a number, and to a kvrn_snmp_octets for a text. For an OBJECT
// IDENTIFIER it is the array of the identifier. @return the result of odb_add(), or -1 for an unknown type
int add_object(void* host, const Oid& oid, uint8_t type, const void* value);

// The two kinds of values that most objects have.
inline int add_number(void* host, const Oid& oid, uint8_t type, uint32_t value) {
  return add_object(host, oid, type, &value);
}
inline int add_text(void* host, const Oid& oid, const char* bytes, std::size_t length) {
  const kvrn_snmp_octets text{static_cast<uint32_t>(length), bytes};
  return add_object(host, oid, KVRN_SNMP_TYPE_OCTET_STRING, &text);
}

}  // namespace kvrn
