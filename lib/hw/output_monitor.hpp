// SPDX-License-Identifier: MIT
// The monitors of the DC outputs.
#pragma once

#include <cstdint>

namespace kvrn {

// What a monitor measures. A failed or negative reading is 0.
struct Load {
  std::int32_t voltage_mv;
  std::int32_t current_ma;
  std::int32_t power_uw() const;  // wraps as on the target
};

// Of an output that the board has.
Load read_load(int output);

// The power of an output, 0 of one that the board has not, or the sum of all; wraps as on the target.
inline constexpr std::uint32_t all_outputs = UINT32_MAX;
std::int32_t read_power_uw(std::uint32_t output);

}  // namespace kvrn
