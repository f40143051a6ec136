// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace kvrn {

// The text without unprintable characters at both ends: control characters, tabs and every byte from 0x80 upward, so
// that a UTF-8 character at an end is cut off, on a host with unsigned characters too. `blanks`: spaces go as well.
std::string_view trimmed(std::string_view text, bool blanks);

// The same in place. Null is ignored.
void cfg_trim(char* text, bool blanks);

}  // namespace kvrn
