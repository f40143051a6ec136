// SPDX-License-Identifier: MIT
// The readout of the power sources.
#pragma once

#include <kvrn/cache.h>
#include <kvrn/observe.h>
#include <kvrn/psu.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "board/platform.hpp"

namespace kvrn {

// One readout. Values that several sources need are read only once.
class Readout {
 public:
  // Fills the record of one source. The board must have this source.
  void read(psu_info& out, int psu);
  // Fills the records of all sources of the board. The other records stay unchanged. @return the number of sources
  int read_all(psu_info* out);

  bool mains(int psu);
  int inputs_with_mains();

 private:
  enum : std::int8_t { no, yes, unread };
  std::int8_t mains_[most_sources]{unread, unread, unread, unread};
};

// Gets the records from the caller's source or from the image of the monitoring process: then all four records are
// filled. When this fails, the sources of the board are read from the hardware: then the records after the count stay
// unchanged.
struct Sources {
  int count;
  bool shared;
};
Sources read_sources(psu_info* out, cache_source* source);

// Reads a flag file that other processes write: true when it holds a positive number, false for any other number. When
// the file is missing or holds no number, the result is the fallback, which comes from a GPIO line.
bool flag_file(const char* path, bool fallback, kvrn_fact fact);

// The parts of the readout. Each fills a record in which only `id` and `type` are set and all other fields are zero.
void read_supply(Readout& readout, const Input& input, psu_info& out);
void read_smart_battery(Readout& readout, const Battery& battery, psu_info& out);
void read_hwmon_battery(Readout& readout, const Battery& battery, psu_info& out);

inline constexpr int charging_threshold_ma = -80;  // the battery charges when its current is below this

}  // namespace kvrn
