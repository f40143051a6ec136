// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/snmp.h>

#include <algorithm>
#include <cstddef>
#include <span>

namespace kvrn {

// The outputs of a summary. A cache may report more than the block has room for.
inline std::span<output_status> entries(sensors_info& info) {
  return {info.output, static_cast<std::size_t>(std::clamp(info.output_count, 0, KVRN_OUTPUT_MAX))};
}

struct FreeSummary {
  void operator()(sensors_info* info) const { ::sensors_info_free(info); }
};

}  // namespace kvrn
