// SPDX-License-Identifier: MIT
// Small files are read with one `read` into a bounded buffer and parsed from there: a sysfs value must come from one
// read, and a file that another process replaces is either the old one or the new one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "util/handle.hpp"
#include "util/number.hpp"

namespace kvrn {

// The bytes one read delivers; the text lives in `buffer`. `opened` is false when the file cannot be opened; a folder
// opens, but has no text.
struct FileText {
  bool opened = false;
  std::string_view text;
};
FileText read_file(const char* path, std::span<char> buffer);

// A stream for the few files that are larger: null unless a regular file opens, so that nothing put in its place blocks
// its reader or never ends. `flags` as of open(); what is created or truncated may be a character device too.
Stream open_stream(const char* path, int flags);

// What a file with one integer says.
template <typename T>
struct FileNumber {
  bool opened = false;
  std::optional<T> value;
};

template <typename T>
FileNumber<T> read_number(const char* path, std::optional<T> (*parse)(std::string_view)) {
  char buffer[512];
  const FileText file = read_file(path, buffer);
  return {file.opened, parse(file.text)};
}

}  // namespace kvrn
