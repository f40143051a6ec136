// SPDX-License-Identifier: MIT
#include "board/platform.hpp"

#include <kvrn/psu.h>

#include "board/identify.hpp"

namespace kvrn {
namespace {

std::uint32_t system_id() {
  static std::uint32_t known = 0;
  if (known == 0) known = board().system_id;
  return known;
}

}  // namespace

const Platform& platform() { return platform_of(system_id()); }

int source_count() { return platform().psu_count; }

std::span<const char* const> output_monitors() {
  const auto& names = platform().monitors;
  std::size_t count = 0;
  while (names[count] != nullptr) ++count;
  return {names.data(), count};
}

}  // namespace kvrn

using kvrn::platform;

int get_psu_count() KVRN_DOOR(source_count);

int psu_id_valid(int psu) { return psu >= 0 && psu < kvrn::source_count() ? 1 : 0; }

int psu_get_type(int psu) {
  const kvrn::PowerSource* source = platform().source(psu);
  // For a number that the board does not have: 0 and 1 are inputs on every board.
  const bool input = source != nullptr ? source->is_input() : psu < 2;
  return input ? KVRN_PSU_TYPE_INPUT : KVRN_PSU_TYPE_BATTERY;
}

const char* const* get_dc_out_addrs(int* count) {
  const auto names = kvrn::output_monitors();
  if (count != nullptr) *count = static_cast<int>(names.size());
  return names.data();
}

int get_max_charging_power(int) { return platform().charge_power_mw; }
