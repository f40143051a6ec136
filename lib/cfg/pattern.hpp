// SPDX-License-Identifier: MIT
#pragma once

#include <string.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "cfg/key.hpp"

namespace kvrn {

// A key text to search for, truncated to the size of the buffer.
template <std::size_t Size>
class PatternOf {
 public:
  __attribute__((format(printf, 2, 0))) PatternOf(const char* format, va_list args) {
    if (format == nullptr) return;
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): KVRN_PATTERN starts the list
    const int length = std::vsnprintf(text_, Size, format, args);
    if (length < 0) return;
    valid_ = true;
    length_ = ::strlen(text_);  // not `length`: a NUL from "%c" ends the text
  }
  // A pattern from plain text, such as a key of a file. It is never used as a format.
  explicit PatternOf(std::string_view text) : valid_(true), length_(text.size() < Size ? text.size() : Size - 1) {
    ::memcpy(text_, text.data(), length_);
    text_[length_] = '\0';
  }

  // A text that could not be formatted matches nothing. As an empty prefix it would match every key.
  bool equals(const char* key) const { return valid_ && cfg_key_equal(key, text_); }
  bool begins(const char* key) const { return valid_ && key != nullptr && ::strncmp(key, text_, length_) == 0; }
  bool matches(const char* key, bool exact) const { return exact ? equals(key) : begins(key); }

  bool valid() const { return valid_; }
  const char* c_str() const { return text_; }
  std::size_t size() const { return length_; }

 private:
  bool valid_ = false;
  std::size_t length_ = 0;
  char text_[Size];
};

using Pattern = PatternOf<256>;

__attribute__((format(printf, 1, 2))) inline Pattern pattern_of(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Pattern pattern(format, args);
  va_end(args);
  return pattern;
}

}  // namespace kvrn

// Makes a pattern from the variable arguments of a function; `last` is the argument before them.
#define KVRN_PATTERN(type, name, format, last) \
  va_list args;                                \
  va_start(args, last);                        \
  const type name(format, args);               \
  va_end(args)
