// SPDX-License-Identifier: MIT
// Bounded text. A path or flag name that is too long is an error in the caller's input. It must never be truncated.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace kvrn {

template <std::size_t Size>
class Text {
 public:
  // The text is empty when the result does not fit. No file has an empty path, so opening it fails as it should.
  __attribute__((format(printf, 2, 3))) explicit Text(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(chars_, Size, format, args);
    va_end(args);
    fits_ = length >= 0 && static_cast<std::size_t>(length) < Size;
    if (!fits_) chars_[0] = '\0';
  }

  const char* c_str() const { return chars_; }
  bool fits() const { return fits_; }

 private:
  char chars_[Size];
  bool fits_;
};

// For paths that contain texts of callers.
using Path = Text<4096>;

}  // namespace kvrn
