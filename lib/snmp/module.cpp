// SPDX-License-Identifier: MIT
// The part that the host loads: the descriptor of the module and its update.
#include "snmp/columns.hpp"
#include "snmp/identity.hpp"
#include "snmp/object.hpp"
#include "snmp/sensors.hpp"
#include "util/door.hpp"
#include "util/handle.hpp"

#include <iterator>

namespace {

constexpr char mib_name[] = "KVRN-Quorvex-MIB";
constexpr kvrn::Oid root{};
constexpr kvrn::Oid tree{1, 5};

// Adds the row with which a host lists the module.
int add_module(void* host, uint32_t row) {
  if (const int result = kvrn::add_number(host, {1, 1, 1, 1, row}, KVRN_SNMP_TYPE_INTEGER, row); result != 0)
    return result;
  if (const int result = kvrn::add_object(host, {1, 1, 1, 2, row}, KVRN_SNMP_TYPE_OBJECT_ID, tree.words()); result != 0)
    return result;
  return kvrn::add_text(host, {1, 1, 1, 3, row}, mib_name, std::size(mib_name) - 1);
}

int add_readings(void* host, sensors_info& info) {
  if (const int result = kvrn::add_identity(host); result != 0) return result;
  if (const int result = kvrn::add_outputs(host, info); result != 0) return result;
  if (const int result = kvrn::add_psus(host, info); result != 0) return result;
  if (const int result = kvrn::add_temperatures(host); result != 0) return result;
  return kvrn::add_number(host, {1, 5, 5, 1, 0}, KVRN_SNMP_TYPE_GAUGE32, 0);  // this group is always empty
}

int add_table(void* host, int row) KVRN_INNER(add_table);
int add_table(void* host, int row) {
  if (::odb_add == nullptr) return -1;
  if (const int result = add_module(host, static_cast<uint32_t>(row)); result != 0) return result;
  const kvrn::Heap<sensors_info> info(kvrn::read_sensors(1, nullptr, nullptr));
  return info ? add_readings(host, *info) : -1;
}

int update(void* host) {
  if (::odb_add == nullptr || ::odb_destroy == nullptr || ::abz_clear_error == nullptr) return -1;
  ::abz_clear_error(host);
  ::odb_destroy(host);
  return add_table(host, 1);
}

}  // namespace

kvrn_snmp_module module = {.name = "kvrn",
                           .description = "Kavrano Networks MIB module ",
                           .oid = root.words(),
                           .root = root.words(),
                           .zero_4 = {},
                           .update = update,
                           .zero_7 = {}};

int update_kvrn_table(void* host, int row) KVRN_DOOR(add_table);
