// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/psu.h>

#include <cstdint>

namespace kvrn {

// What the sources of these records may deliver, mW; a battery's help counts only where it is asked for.
std::int32_t available_mw(const psu_info* records, bool count_battery);

// The same, of one supply.
std::int32_t single_supply_mw(const psu_info* records, bool count_battery);

}  // namespace kvrn
