// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/psu.h>

#include "util/door.hpp"

namespace kvrn {

// The power in mW that the sources in these records may deliver. The support of a battery counts only when
// `count_battery` is not 0.
int available_mw(const psu_info* records, int count_battery) KVRN_INNER(available_mw);

// Like available_mw(), but at most the power of one output.
int single_supply_mw(const psu_info* records, int count_battery) KVRN_INNER(single_supply_mw);

}  // namespace kvrn
