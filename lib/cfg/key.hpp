// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/cfg.h>

namespace kvrn {

// The ASCII lower case of a character as an unsigned byte, independent of the locale.
constexpr unsigned lower(char c) {
  const auto code = static_cast<unsigned char>(c);
  return code >= 'A' && code <= 'Z' ? code + ('a' - 'A') : code;
}

// Compares keys in natural order. The result is negative, 0 or positive. The case of letters is ignored. Numbers
// compare by value ("a.9" is before "a.10", "a.01" equals "a.1") and come after every other character. Null comes
// before every text.
int cfg_key_cmp(const char* a, const char* b);

// Whether a key equals a text; a null key equals none.
bool cfg_key_equal(const char* key, const char* wanted);

// The first record whose key equals a text; null if none.
const cfg_entry* find_key(const cfg_entry* chain, const char* wanted);

}  // namespace kvrn
