// SPDX-License-Identifier: MIT
#include "tools/cli/nearest.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "tools/cli/distance.hpp"

namespace cli {

namespace {

const std::string& nearest(const std::string& word, const std::vector<std::string>& known) {
  return *std::ranges::min_element(known, {}, [&](const std::string& other) { return distance(word, other); });
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
  return is_near(word, best) || known.size() == 1 ? fmt::format("; did you mean '{}'?", best) : "";
}

std::string offer(const std::string& word, const std::vector<std::string>& known) {
  constexpr std::size_t most_listed = 12;
  std::string text = meant(word, known);
  if (!text.empty() || known.empty()) return text;
  if (known.size() > most_listed) return fmt::format("; the nearest is '{}'", nearest(word, known));
  return fmt::format("; choose from {}", fmt::join(known, ", "));
}

}  // namespace cli
