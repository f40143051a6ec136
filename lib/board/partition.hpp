// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>

#include "util/lines.hpp"
#include "util/number.hpp"
#include "util/prefix.hpp"

namespace kvrn {

// The number of the flash partition with the calibration data, from /proc/mtd. The names of the devices contain this
// number.
inline constexpr const char* partitions_file = "/proc/mtd";
inline std::optional<int> find_calibration_partition(int* error = nullptr) {
  Lines<257> lines(partitions_file);
  if (error != nullptr) *error = lines.error();
  for (std::string_view line; lines.next(line);) {
    if (!has_prefix(line, "mtd")) continue;
    if (line.find("EEPROM") == std::string_view::npos && line.find("ART") == std::string_view::npos) continue;
    line.remove_prefix(3);
    if (const auto number = parse_d(line)) return number;
  }
  return std::nullopt;
}

}  // namespace kvrn
