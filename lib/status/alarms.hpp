// SPDX-License-Identifier: MIT
// Alarms that more than a flag decides.
#pragma once

#include <cstdint>

#include "util/door.hpp"

namespace kvrn {

// Of the whole device: 0 none, 1 too much is drawn, 2 an output's protection tripped.
int overload() KVRN_INNER(overload);
int output_overload(int output) KVRN_INNER(output_overload);

// The hardware protection of an output tripped.
bool protection_tripped(int output);

// Of a battery, -1 the device: what its flag says, else 2 for a battery that is nearly empty.
int low_voltage(int psu) KVRN_INNER(low_voltage);

// Whether the flags of a battery's data are an error.
bool is_battery_error(std::uint32_t flag_bits);

}  // namespace kvrn
