// SPDX-License-Identifier: MIT
#include "cfg/trim.hpp"

#include <string.h>

namespace kvrn {

std::string_view trimmed(std::string_view text, bool blanks) {
  const signed char lowest = blanks ? '!' : ' ';
  const auto stays = [lowest](char c) {
    const auto code = static_cast<signed char>(c);
    return code >= lowest && code <= 126;
  };
  while (!text.empty() && !stays(text.front())) text.remove_prefix(1);
  while (!text.empty() && !stays(text.back())) text.remove_suffix(1);
  return text;
}

void cfg_trim(char* text, bool blanks) {
  if (text == nullptr) return;
  const std::string_view kept = trimmed(text, blanks);
  ::memmove(text, kept.data(), kept.size());
  text[kept.size()] = '\0';
}

}  // namespace kvrn
