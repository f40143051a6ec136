// SPDX-License-Identifier: MIT
// Small files are read with one `read` into a bounded buffer and parsed from there: a sysfs value must come from one
// read, and a file that another process replaces is either the old one or the new one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "util/number.hpp"

namespace kvrn {

// The bytes one read delivers; the text lives in `buffer`. `opened` is false when the file cannot be opened; a folder
// opens, but has no text.
struct FileText {
  bool opened = false;
  std::string_view text;
};
FileText read_file(const char* path, std::span<char> buffer);

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
