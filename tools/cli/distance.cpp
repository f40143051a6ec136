// SPDX-License-Identifier: MIT
#include "tools/cli/distance.hpp"

#include <algorithm>
#include <array>

#include "util/prefix.hpp"

namespace cli {
namespace {

constexpr std::size_t longest = 63;

unsigned edits(std::string_view a, std::string_view b) {
  // Three rows of the table that has a field for each pair of prefixes.
  std::array<unsigned, longest + 1> older{}, old{}, row{};
  for (unsigned j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    older = old;
    old = row;
    row[0] = static_cast<unsigned>(i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({old[j] + 1, row[j - 1] + 1, old[j - 1] + (a[i - 1] == b[j - 1] ? 0U : 1U)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) row[j] = std::min(row[j], older[j - 2] + 1);
    }
  }
  return row[b.size()];
}

}  // namespace

unsigned distance(std::string_view word, std::string_view known) {
  if (word.find_first_not_of('-') != std::string_view::npos && kvrn::has_prefix(known, word)) return 0;
  return edits(word, {known.data(), std::min(known.size(), longest)});
}

bool is_near(std::string_view word, std::string_view known) { return distance(word, known) <= (word.size() + 1) / 3; }

}  // namespace cli
