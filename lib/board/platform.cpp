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

}  // namespace kvrn

using kvrn::platform;

int get_psu_count() { return platform().psu_count; }

int psu_id_valid(int psu) { return psu >= 0 && psu < platform().psu_count ? 1 : 0; }

int psu_get_type(int psu) { return psu < 2 ? KVRN_PSU_TYPE_INPUT : KVRN_PSU_TYPE_BATTERY; }

const char* const* get_dc_out_addrs(int* count) {
  const auto& names = platform().monitors;
  if (count != nullptr) {
    *count = 0;
    while (names[static_cast<unsigned>(*count)] != nullptr) ++*count;
  }
  return names.data();
}

int get_max_charging_power(int) { return platform().charge_power_mw; }
