// SPDX-License-Identifier: MIT
// The files that the battery monitoring process keeps for each battery.
#pragma once

#include <cstdint>
#include <optional>

#include "util/door.hpp"

namespace kvrn {

// The estimated charge in percent, or -2 when there is none. The other values are set as far as they could be read.
// Waits up to 600 ms for a process that is writing the file.
int read_estimate(int psu, std::int32_t* time_s, std::int32_t* third, std::int32_t* fourth) KVRN_INNER(read_estimate);

struct BatteryData {
  std::uint32_t flags;
  std::int32_t charge_mah;  // -1 when unknown, as `current_ma`
  std::int32_t current_ma;
};
// @param known_active the state in the charger's file (true when the file is missing), if the caller has already read
//                     it
std::optional<BatteryData> read_battery_data(int psu, std::optional<bool> known_active = std::nullopt);

// The state of the calibration (0 when there is none) and its percentage.
struct Calibration {
  std::int32_t state;
  std::int32_t percentage;
};
Calibration read_calibration(int psu);

}  // namespace kvrn
