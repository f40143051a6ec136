// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace kvrn {

// Removes unprintable characters at both ends: control characters, tabs and every byte from 0x80 upward, even on a host
// with unsigned characters. A UTF-8 character at an end is therefore removed. With `blanks` spaces are removed too.
std::string_view trimmed(std::string_view text, bool blanks);

// Like trimmed(), but in place. Null is ignored.
void cfg_trim(char* text, bool blanks);

}  // namespace kvrn
