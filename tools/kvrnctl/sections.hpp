// SPDX-License-Identifier: MIT
// The sections of the documents: what the library says, with unknown as null.
#pragma once

#include <kvrn/kvrn.h>

#include <optional>
#include <string>
#include <vector>

#include "tools/kvrnctl/context.hpp"

namespace kvrnctl {

json board_section();
bool board_is_known();

// Where a PSU reading comes from.
enum class Source { automatic, cache, direct };

struct PsuReading {
  std::vector<psu_info> records;  // one a PSU of the board; empty when `exit` is not ok
  json source;                    // "kind", "path", "age_s" and, where the cache was passed over, "reason"
  Exit exit = Exit::ok;
  std::string error;
};
PsuReading read_psus(Source source);

json psu_section(const psu_info& record);
json psu_list(const std::vector<psu_info>& records, bool batteries_only);

}  // namespace kvrnctl
