// SPDX-License-Identifier: MIT
#pragma once

namespace kvrn {

// ASCII's lower case, whatever the locale, as an unsigned byte.
constexpr unsigned lower(char c) {
  const auto code = static_cast<unsigned char>(c);
  return code >= 'A' && code <= 'Z' ? code + ('a' - 'A') : code;
}

// Natural order of keys: negative, 0 or positive. Letters of both cases are equal, numbers compare by value ("a.9"
// before "a.10", "a.01" equals "a.1") and rank above every other character. Null is before every text.
int cfg_key_cmp(const char* a, const char* b);

}  // namespace kvrn
