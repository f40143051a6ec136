// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/cache.h>
#include <kvrn/snmp.h>

#include <algorithm>
#include <cstddef>
#include <span>

#include "util/door.hpp"

namespace kvrn {

// The outputs in a summary. A cache may report more outputs than the summary can hold.
inline std::span<output_status> entries(sensors_info& info) {
  return {info.output, static_cast<std::size_t>(std::clamp(info.output_count, 0, KVRN_OUTPUT_MAX))};
}

// Creates a summary on the heap, as sensors_info_get_ex() does; null when out of memory.
sensors_info* read_sensors(int with_board_temps, cache_source* outputs, cache_source* psus) KVRN_INNER(read_sensors);

// No board has temperature sensors of its own.
inline std::span<const std::int32_t> board_temperatures() { return {}; }

}  // namespace kvrn
