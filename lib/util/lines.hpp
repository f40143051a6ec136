// SPDX-License-Identifier: MIT
// Lines of a text file through a buffer of fixed size; a longer line goes on as a line of its own.
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
  // Why it is not open; 0 when it is.
  int error() const { return error_; }

  // The next line with its line end, up to a NUL in it. False at the end, and where the file cannot be read.
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
