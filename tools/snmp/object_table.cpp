// SPDX-License-Identifier: MIT
#include "tools/snmp/object_table.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>

namespace snmp_host {
namespace {

constexpr std::size_t longest_oid = 128;  // in arcs; the protocol's limit

struct Type {
  std::uint8_t tag;
  const char* name;  // as snmpwalk writes it
};
constexpr std::array types{Type{KVRN_SNMP_TYPE_INTEGER, "INTEGER"}, Type{KVRN_SNMP_TYPE_OCTET_STRING, "STRING"},
                           Type{KVRN_SNMP_TYPE_OBJECT_ID, "OID"},   Type{KVRN_SNMP_TYPE_COUNTER32, "Counter32"},
                           Type{KVRN_SNMP_TYPE_GAUGE32, "Gauge32"}, Type{KVRN_SNMP_TYPE_TIMETICKS, "Timeticks"}};

const Type* type_of(std::uint8_t tag) {
  const auto found = std::ranges::find(types, tag, &Type::tag);
  return found == types.end() ? nullptr : &*found;
}

bool before(const Object& a, const Object& b) { return std::is_lt(compare(a.oid, b.oid)); }

std::string ticks(std::uint32_t hundredths) {
  const std::uint32_t seconds = hundredths / 100;
  const std::uint32_t days = seconds / 86400;
  const std::string day = days == 0 ? "" : fmt::format("{} day{}, ", days, days == 1 ? "" : "s");
  return fmt::format("({}) {}{}:{:02}:{:02}.{:02}", hundredths, day, seconds / 3600 % 24, seconds / 60 % 60,
                     seconds % 60, hundredths % 100);
}

std::string quoted(const std::string& bytes) {
  std::string text;
  if (is_text(bytes)) {
    for (const char c : bytes) text += (c == '"' || c == '\\') ? fmt::format("\\{}", c) : std::string(1, c);
    return fmt::format("\"{}\"", text);
  }
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0 && i % 16 == 0) text += '\n';
    text += fmt::format("{:02X} ", static_cast<unsigned char>(bytes[i]));
  }
  return text;
}

}  // namespace

Arcs arcs_of(const kvrn_snmp_oid_word* oid) {
  const std::size_t words = oid[0];
  if (words == 0 || words >= longest_oid) return {};
  // The first word after the count encodes two arcs: 40 x first + second. Only below 2 may the second arc exceed 39.
  const kvrn_snmp_oid_word first = std::min(oid[1] / 40, 2U);
  Arcs arcs{first, oid[1] - first * 40};
  arcs.insert(arcs.end(), oid + 2, oid + 1 + words);
  return arcs;
}

ObjectTable::Result ObjectTable::add(const kvrn_snmp_oid_word* oid, const kvrn_snmp_value& value) {
  Object object{.oid = arcs_of(oid), .type = value.type, .number = 0, .bytes = {}, .object_id = {}};
  if (object.oid.empty()) return bad_identifier;
  if (type_of(value.type) == nullptr) return bad_value;
  if (value.type == KVRN_SNMP_TYPE_OCTET_STRING) {
    object.bytes.assign(value.as.text.bytes, value.as.text.length);
  } else if (value.type == KVRN_SNMP_TYPE_OBJECT_ID) {
    object.object_id = arcs_of(value.as.oid);
    if (object.object_id.empty()) return bad_value;
  } else {
    object.number = value.as.number;
  }
  objects_.push_back(std::move(object));
  return added;
}

void ObjectTable::finish() {
  std::ranges::stable_sort(objects_, before);
  const auto same = [](const Object& a, const Object& b) { return a.oid == b.oid; };
  // unique() keeps the first of equal objects. In reverse order, this is the object that was added last.
  const auto kept = std::unique(objects_.rbegin(), objects_.rend(), same);
  objects_.erase(objects_.begin(), kept.base());
}

const Object* ObjectTable::next(std::span<const Arc> oid, bool inclusive) const {
  const auto found = std::ranges::partition_point(objects_, [&](const Object& object) {
    const auto order = compare(object.oid, oid);
    return std::is_lt(order) || (std::is_eq(order) && !inclusive);
  });
  return found == objects_.end() ? nullptr : &*found;
}

const Object* ObjectTable::find(std::span<const Arc> oid) const {
  const Object* object = next(oid, true);
  return object != nullptr && std::is_eq(compare(object->oid, oid)) ? object : nullptr;
}

std::strong_ordering compare(std::span<const Arc> a, std::span<const Arc> b) {
  // Not lexicographical_compare_three_way: libstdc++ 12 compares only the first bytes of long arcs on the target.
  const auto [left, right] = std::ranges::mismatch(a, b);
  if (left == a.end() || right == b.end()) return a.size() <=> b.size();
  return *left <=> *right;
}

std::string to_text(const Arcs& oid) { return fmt::format(".{}", fmt::join(oid, ".")); }

// type_of() finds the type: add() refuses unknown types.
const char* type_name(const Object& object) { return type_of(object.type)->name; }

bool is_text(std::string_view bytes) {
  return std::ranges::all_of(bytes, [](unsigned char c) { return std::isprint(c) != 0 || std::isspace(c) != 0; });
}

std::string value_text(const Object& object) {
  switch (object.type) {
    case KVRN_SNMP_TYPE_INTEGER:
      return std::to_string(static_cast<std::int32_t>(object.number));
    case KVRN_SNMP_TYPE_OCTET_STRING:
      return quoted(object.bytes);
    case KVRN_SNMP_TYPE_OBJECT_ID:
      return to_text(object.object_id);
    case KVRN_SNMP_TYPE_TIMETICKS:
      return ticks(object.number);
    default:
      return std::to_string(object.number);
  }
}

std::string to_text(const Object& object) {
  // snmpwalk prints no type for an empty text.
  if (object.type == KVRN_SNMP_TYPE_OCTET_STRING && object.bytes.empty()) return to_text(object.oid) + " = \"\"";
  const bool hexadecimal = object.type == KVRN_SNMP_TYPE_OCTET_STRING && !is_text(object.bytes);
  return fmt::format("{} = {}{}: {}", to_text(object.oid), hexadecimal ? "Hex-" : "", type_name(object),
                     value_text(object));
}

}  // namespace snmp_host
