// SPDX-License-Identifier: MIT
#include "tools/cli/nearest.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace cli {

unsigned distance(std::string_view a, std::string_view b) {
  // Rows of the table of all pairs of prefixes: the one before the last, the last, and this one.
  std::vector<unsigned> older, old(b.size() + 1), row(b.size() + 1);
  for (unsigned j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    older = std::exchange(old, row);
    row[0] = static_cast<unsigned>(i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({old[j] + 1, row[j - 1] + 1, old[j - 1] + (a[i - 1] == b[j - 1] ? 0U : 1U)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) row[j] = std::min(row[j], older[j - 2] + 1);
    }
  }
  return row[b.size()];
}

namespace {

// The beginning of a word is near to it, however much is missing.
unsigned far(const std::string& word, const std::string& other) {
  return word.find_first_not_of('-') != std::string::npos && other.starts_with(word) ? 0 : distance(word, other);
}

const std::string& nearest(const std::string& word, const std::vector<std::string>& known) {
  return *std::ranges::min_element(known, {}, [&](const std::string& other) { return far(word, other); });
}

}  // namespace

std::string listed(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += i + 1 == words.size() ? " or " : ", ";
    text += words[i];
  }
  return text;
}

std::string meant(const std::string& word, const std::vector<std::string>& known) {
  if (known.empty()) return "";
  const std::string& best = nearest(word, known);
  const bool near = far(word, best) <= (word.size() + 1) / 3 || known.size() == 1;
  return near ? fmt::format("; did you mean '{}'?", best) : "";
}

std::string offer(const std::string& word, const std::vector<std::string>& known) {
  constexpr std::size_t most_listed = 12;
  std::string text = meant(word, known);
  if (!text.empty() || known.empty()) return text;
  if (known.size() > most_listed) return fmt::format("; the nearest is '{}'", nearest(word, known));
  return fmt::format("; choose from {}", fmt::join(known, ", "));
}

}  // namespace cli
