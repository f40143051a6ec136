// SPDX-License-Identifier: MIT
// How near a word is to another. Nothing of the C++ run time, for programs without one.
#pragma once

#include <string_view>

namespace cli {

// How many letters must be put in, taken out, replaced or exchanged with their neighbour. The beginning of a word is
// near to it, however much is missing: 0. Of a known word that is longer than 63 letters only those count.
unsigned distance(std::string_view word, std::string_view known);

// Whether that may be what was meant.
bool is_near(std::string_view word, std::string_view known);

}  // namespace cli
