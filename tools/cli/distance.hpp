// SPDX-License-Identifier: MIT
// Compares words for suggestions. It must not need the C++ run time, because the monitor has none.
#pragma once

#include <string_view>

namespace cli {

// Counts the letters that must be inserted, removed, replaced or exchanged with their neighbour. If `word` is the
// beginning of `known`, the distance is 0. Only the first 63 letters of `known` count.
unsigned distance(std::string_view word, std::string_view known);

// Returns whether the user may have meant the known word.
bool is_near(std::string_view word, std::string_view known);

}  // namespace cli
