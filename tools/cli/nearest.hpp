// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cli {

// How many letters must be put in, taken out, replaced or exchanged with their neighbour.
unsigned distance(std::string_view a, std::string_view b);

// What to say of a word that is not among the known ones: "; did you mean 'psu'?", or which there are.
std::string offer(const std::string& word, const std::vector<std::string>& known);

// "a, b or c"
std::string listed(const std::vector<std::string>& words, const char* last);

}  // namespace cli
