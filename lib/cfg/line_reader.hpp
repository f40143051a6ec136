// SPDX-License-Identifier: MIT
#pragma once

#include <stdio.h>

#include <cstddef>
#include <string_view>

namespace kvrn {

// Reads the lines of a stream, each with its line feed. A line longer than 1024 characters is split into pieces of this
// length, and each piece counts as a line. A last line without a line feed counts, unless a read error cut it.
class LineReader {
 public:
  explicit LineReader(FILE* stream) : stream_(stream) {}

  // False at the end. A line has at least one character and is valid until the next call.
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
