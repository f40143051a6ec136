// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/cfg.h>

#include <string_view>

namespace kvrn {

// ASCII's lower case, whatever the locale, as an unsigned byte.
constexpr unsigned lower(char c) {
  const auto code = static_cast<unsigned char>(c);
  return code >= 'A' && code <= 'Z' ? code + ('a' - 'A') : code;
}

// Natural order of keys: negative, 0 or positive. Letters of both cases are equal, numbers compare by value ("a.9"
// before "a.10", "a.01" equals "a.1") and rank above every other character. Null is before every text.
int cfg_key_cmp(const char* a, const char* b);

// Whether a key equals a terminated text; a null key equals none.
bool cfg_key_equal(const char* key, std::string_view wanted);

// The first record whose key equals a terminated text; null if none.
const cfg_entry* find_key(const cfg_entry* chain, std::string_view wanted);

}  // namespace kvrn
