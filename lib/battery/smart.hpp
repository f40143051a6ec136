// SPDX-License-Identifier: MIT
// The records of smart batteries: read from the battery, or as the monitoring process published them.
#pragma once

#include <kvrn/battery.h>

#include "board/platform.hpp"
#include "util/door.hpp"

namespace kvrn {

// The battery's own answer, the unknown markers where it gave none. False when its bus cannot be opened.
bool read_battery(const I2cDevice& device, kvrn_sbs_battery_info& out);

// What is published for a source; 0, and a zero record, when there is nothing.
int published_battery(int psu, kvrn_sbs_battery_info* out) KVRN_INNER(published_battery);

}  // namespace kvrn
