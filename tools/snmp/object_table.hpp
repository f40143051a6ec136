// SPDX-License-Identifier: MIT
// A host's object database: the objects that one update of the module added, sorted by identifier.
#pragma once

#include <kvrn/snmp.h>

#include <compare>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace snmp_host {

using Arc = unsigned long;  // net-snmp's type, so that a lookup copies nothing
using Arcs = std::vector<Arc>;

struct Object {
  Arcs oid;
  std::uint8_t type = 0;     // enum kvrn_snmp_type
  std::uint32_t number = 0;  // INTEGER, Gauge32, Counter32, TimeTicks
  std::string bytes;         // OCTET STRING
  Arcs object_id;            // OBJECT IDENTIFIER
};

class ObjectTable {
 public:
  // What a host returns from odb_add().
  enum Result { added = 0, bad_identifier = 1, bad_value = 2, no_memory = 3 };

  Result add(const kvrn_snmp_oid_word* oid, const kvrn_snmp_value& value);
  void clear() { objects_.clear(); }
  // Sorts the objects. Of two objects with the same identifier, the later one stays. Must be called before lookups.
  void finish();

  std::span<const Object> objects() const { return objects_; }
  const Object* find(std::span<const Arc> oid) const;
  // The first object after the identifier; with `inclusive`, an object at the identifier counts too. Null at the end.
  const Object* next(std::span<const Arc> oid, bool inclusive) const;

 private:
  std::vector<Object> objects_;
};

// The arcs of an identifier in the module's format; empty when the identifier is not valid.
Arcs arcs_of(const kvrn_snmp_oid_word* oid);

std::strong_ordering compare(std::span<const Arc> a, std::span<const Arc> b);

// ".1.3.6.1 = INTEGER: 1", as snmpwalk -On writes it.
std::string to_text(const Object& object);
std::string to_text(const Arcs& oid);
// Whether the bytes are printable text. snmpwalk prints other bytes as hexadecimal numbers.
bool is_text(std::string_view bytes);
std::string value_text(const Object& object);
const char* type_name(const Object& object);

}  // namespace snmp_host
