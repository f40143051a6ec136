// SPDX-License-Identifier: MIT
// The records of smart batteries: read from the battery, or as the monitoring process published them.
#pragma once

#include <kvrn/battery.h>

#include "board/platform.hpp"

namespace kvrn {

// The battery's own answer, the unknown markers where it gave none. False when its bus cannot be opened.
bool read_battery(const I2cDevice& device, kvrn_sbs_battery_info& out);

// What is published for a source; false, and a zero record, when there is nothing.
bool published_battery(int psu, kvrn_sbs_battery_info& out);

}  // namespace kvrn
