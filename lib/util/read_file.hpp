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
#include "util/observe.hpp"

namespace kvrn {

// The bytes one read delivers; the text lives in `buffer`. `opened` is false when the file cannot be opened; a folder
// opens, but has no text.
struct FileText {
  bool opened = false;
  int error = 0;  // of opening or reading
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

// Reports what a file answered; a text that was of use has a value.
void tell_file(const char* path, const FileText& file, std::uint32_t what, bool useful, std::int32_t value);

template <typename T>
FileNumber<T> read_number(const char* path, std::optional<T> (*parse)(std::string_view),
                          std::uint32_t what = reading(KVRN_SOURCE_FILE, KVRN_FACT_NONE)) {
  char buffer[512];
  const FileText file = read_file(path, buffer);
  const std::optional<T> value = parse(file.text);
  tell_file(path, file, what, value.has_value(), static_cast<std::int32_t>(value.value_or(0)));
  return {file.opened, value};
}

}  // namespace kvrn
