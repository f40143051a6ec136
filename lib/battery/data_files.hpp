// SPDX-License-Identifier: MIT
// What the battery monitoring process keeps about each battery in files.
#pragma once

#include <cstdint>
#include <optional>

#include "util/door.hpp"

namespace kvrn {

// The estimated charge in percent, -2 when there is none: then the values are as far as they were read. Waits for a
// writer that is at it, 600 ms at most.
int read_estimate(int psu, std::int32_t* time_s, std::int32_t* third, std::int32_t* fourth) KVRN_INNER(read_estimate);

struct BatteryData {
  std::uint32_t flags;
  std::int32_t charge_mah;  // -1: none, as the current
  std::int32_t current_ma;
};
// @param known_active what the charger's file says (true where it is missing), if the caller has read it
std::optional<BatteryData> read_battery_data(int psu, std::optional<bool> known_active = std::nullopt);

// The state of the calibration, 0 when there is none, and its percentage.
struct Calibration {
  std::int32_t state;
  std::int32_t percentage;
};
Calibration read_calibration(int psu);

}  // namespace kvrn
