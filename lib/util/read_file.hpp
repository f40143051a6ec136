// SPDX-License-Identifier: MIT
// Small files are read with one `read` into a bounded buffer and then parsed. A sysfs value must come from one read.
// When another process replaces the file, the text is completely from the old file or completely from the new one.
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

// The bytes of one read. The text is stored in `buffer`. `opened` is false when the file cannot be opened. A folder can
// be opened, but has no text.
struct FileText {
  bool opened = false;
  int error = 0;  // errno of opening or reading
  std::string_view text;
};
FileText read_file(const char* path, std::span<char> buffer);

// A stream for the few larger files. Null unless a regular file opens: another kind of file could block the reader or
// never end. `flags` are those of open(). A file opened for writing may also be a character device.
Stream open_stream(const char* path, int flags);

// A stream to read that has no buffer, for LineReader, which reads blocks itself. A buffer is so large that its
// allocation makes malloc tidy the heap. This costs as much as a third of the allocations of a configuration.
Stream open_blocks(const char* path);

// The content of a file with one integer.
template <typename T>
struct FileNumber {
  bool opened = false;
  std::optional<T> value;
};

// Reports the result of reading a file. `value` counts only when the text was useful.
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
