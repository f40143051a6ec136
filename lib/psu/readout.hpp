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

// What several sources depend on is read once for all of them.
class Readout {
 public:
  // Fills the record of a source of the board.
  void read(psu_info& out, int psu);
  // Fills the records of all of them; records beyond the board's stay as they are. @return how many there are
  int read_all(psu_info* out);

  bool mains(int psu);
  int inputs_with_mains();

 private:
  enum : std::int8_t { no, yes, unread };
  std::int8_t mains_[most_sources]{unread, unread, unread, unread};
};

// All four records, from the caller's source or the image of the monitoring process if they can be had there, else the
// board's from the hardware: then the records beyond the count stay as they are.
struct Sources {
  int count;
  bool shared;
};
Sources read_sources(psu_info* out, cache_source* source);

// A flag file that other processes write: 1 when it holds a positive number, 0 when another, the fallback when it is
// missing or holds none. A present file wins over the line that gives the fallback.
bool flag_file(const char* path, bool fallback, kvrn_fact fact);

// The pieces of the readout. Each fills a record that is zero but for `id` and `type`.
void read_supply(Readout& readout, const Input& input, psu_info& out);
void read_smart_battery(Readout& readout, const Battery& battery, psu_info& out);
void read_hwmon_battery(Readout& readout, const Battery& battery, psu_info& out);

inline constexpr int charging_threshold_ma = -80;  // a current below it charges

}  // namespace kvrn
