// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace cli {

// The known word that is meant, if one is near enough: "; did you mean 'psu'?"
std::string meant(const std::string& word, const std::vector<std::string>& known);

// The same, else which words there are; of many the nearest.
std::string offer(const std::string& word, const std::vector<std::string>& known);

// "a, b or c"
std::string listed(const std::vector<std::string>& words);

}  // namespace cli
