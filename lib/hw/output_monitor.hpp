// SPDX-License-Identifier: MIT
// The monitors of the DC outputs.
#pragma once

#include <cstdint>

namespace kvrn {

inline constexpr int uw_per_mw = 1000;

// The readings of a monitor. A failed or negative reading is 0.
struct Load {
  std::int32_t voltage_mv;
  std::int32_t current_ma;
  std::int32_t power_uw() const;  // wraps at 32 bits
};

// Reads the monitor of an output. The board must have this output.
Load read_load(int output);

// The power of one output (0 if the board does not have it), and the sum of all outputs. Both wrap at 32 bits.
std::int32_t read_power_uw(std::uint32_t output);
std::int32_t read_total_power_uw();

}  // namespace kvrn
