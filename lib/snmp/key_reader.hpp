// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

namespace kvrn {

// Reads the text after "KEY=" in the first line that begins with "KEY=". The file is not parsed in any other way:
// nothing is unescaped or decrypted. The text is truncated to size - 1 characters, or at a NUL, and terminated.
// @return number of characters stored; 0 when the file cannot be opened; -1 (buffer unchanged) when no line has the key
int read_key(const char* path, std::string_view key, char* buffer, uint32_t size);

}  // namespace kvrn
