// SPDX-License-Identifier: MIT
// Reads the lines of a text file with a buffer of fixed size. The rest of a line that is too long counts as another
// line.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "util/read_file.hpp"

namespace kvrn {

template <std::size_t BufferSize>
class Lines {
 public:
  explicit Lines(const char* path) : file_(open_stream(path, O_RDONLY)), error_(file_ ? 0 : errno) {}
  // The errno of opening the file; 0 when the file is open.
  int error() const { return error_; }

  // Reads the next line with its line end, up to a NUL in the line. False at the end, or when the file cannot be read.
  bool next(std::string_view& line) {
    if (file_ == nullptr || ::fgets(buffer_, static_cast<int>(BufferSize), file_.get()) == nullptr) return false;
    line = buffer_;
    return true;
  }

 private:
  Stream file_;
  int error_;
  char buffer_[BufferSize];
};

}  // namespace kvrn
