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
  json source;                    // as OutputReading::source
  Exit exit = Exit::ok;
  std::string error;
};
PsuReading read_psus(Source source);

// The sections of a reading. A direct reading is looked at again where a default stands in for a failed one: the value
// becomes null and the failure goes into `errors`.
json psu_list(const PsuReading& reading, bool batteries_only, std::vector<std::string>& errors);
void note_failures(json& psu, std::vector<std::string>& errors);

}  // namespace kvrnctl
