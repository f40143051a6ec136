// SPDX-License-Identifier: MIT
#pragma once

#include <stdio.h>

#include <cstddef>
#include <string_view>

namespace kvrn {

// The lines of a stream, each with its line feed. A line above 1024 characters comes in pieces of that length, each a
// line of its own. A last line without line feed counts, unless a read error cut it.
class LineReader {
 public:
  explicit LineReader(FILE* stream) : stream_(stream) {}

  // False at the end; a line has at least one character and lives until the next call.
  bool next(std::string_view& line);

 private:
  static constexpr std::size_t longest = 1024;

  void fill();

  FILE* stream_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool ended_ = false;
  char buffer_[8 * longest];
};

}  // namespace kvrn
