// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

namespace kvrn {

// The text behind "KEY=" in the first line of a file that begins so; the file is not parsed otherwise, so nothing is
// unescaped or decrypted. Cut to size - 1 characters, or at a NUL, and terminated.
// @return characters stored; 0 when the file cannot be opened, -1 (buffer untouched) when no line has the key
int read_key(const char* path, std::string_view key, char* buffer, uint32_t size);

}  // namespace kvrn
