// SPDX-License-Identifier: MIT
// The alarm and status flags by their names on the command line.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/kvrnctl/context.hpp"

namespace kvrnctl {

// What the index of a flag counts.
enum class Index { none, output, request, battery };

struct Alarm {
  const char* name;
  Index index;
  int (*get)(int index);
  bool (*set)(int index, int value);  // @return whether the flag now has this value. Null: only the owner may set it
  bool (*raised)(int value);
  int critical_from;  // lower values that are raised are only a warning
  const char* meaning;
  std::string (*file)(int index);
};

extern const std::array<Alarm, 11> alarms;

// The number of entries that a flag has on this board, and the index of the first one.
int alarm_count(const Alarm& alarm);
int alarm_first(const Alarm& alarm);

// All flags. A flag whose file cannot be read is named in `errors`, and its value and raised are null.
json alarm_list(std::vector<std::string>& errors);

}  // namespace kvrnctl
