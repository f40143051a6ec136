// SPDX-License-Identifier: MIT
// The records of smart batteries: read from the battery, or from the file that the monitoring process publishes.
#pragma once

#include <kvrn/battery.h>

#include "board/platform.hpp"
#include "util/door.hpp"

namespace kvrn {

// Reads the battery over its bus. Values without an answer have the unknown markers. False when the bus cannot be
// opened.
bool read_battery(const I2cDevice& device, kvrn_sbs_battery_info& out);

// Reads the published record of a power source. The result is 0, and the record is zero, when there is none.
int published_battery(int psu, kvrn_sbs_battery_info* out) KVRN_INNER(published_battery);

}  // namespace kvrn
