// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/psu.h>

#include "util/door.hpp"

namespace kvrn {

// What the sources of these records may deliver, mW; a battery's help counts only where it is asked for.
int available_mw(const psu_info* records, int count_battery) KVRN_INNER(available_mw);

// The same, of one supply.
int single_supply_mw(const psu_info* records, int count_battery) KVRN_INNER(single_supply_mw);

}  // namespace kvrn
