// SPDX-License-Identifier: MIT
// Alarms that do not depend on a flag file alone.
#pragma once

#include <cstdint>

#include "util/door.hpp"

namespace kvrn {

// The overload state of the whole device, or of one output. The device has 0 without an overload, 1 when the outputs
// draw too much power, and 2 when the protection of an output tripped.
int overload() KVRN_INNER(overload);
int output_overload(int output) KVRN_INNER(output_overload);

// Whether the hardware protection of an output tripped.
bool protection_tripped(int output);

// Below this estimate a battery counts as nearly empty.
inline constexpr int low_charge_pct = 11;

// The low-voltage state of a PSU, or of the device (-1): the number in its flag file, or 2 for a nearly empty battery.
int low_voltage(int psu) KVRN_INNER(low_voltage);

// Whether the flags in a battery's data contain an error.
bool is_battery_error(std::uint32_t flag_bits);

}  // namespace kvrn
