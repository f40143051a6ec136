// SPDX-License-Identifier: MIT
#pragma once

#include <string.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "cfg/key.hpp"

namespace kvrn {

// A key text to look for, cut to the buffer's size.
template <std::size_t Size>
class PatternOf {
 public:
  __attribute__((format(printf, 2, 0))) PatternOf(const char* format, va_list args) {
    if (format == nullptr) return;
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): KVRN_PATTERN starts the list
    const int length = std::vsnprintf(text_, Size, format, args);
    if (length < 0) return;
    valid_ = true;
    length_ = ::strlen(text_);  // not what was formatted: a "%c" of NUL ends the text
  }
  // A text of a file: data, never a format.
  explicit PatternOf(std::string_view text) : valid_(true), length_(text.size() < Size ? text.size() : Size - 1) {
    ::memcpy(text_, text.data(), length_);
    text_[length_] = '\0';
  }

  // A text that could not be formatted matches nothing (as an empty prefix it would match every key).
  bool equals(const char* key) const { return valid_ && cfg_key_equal(key, {text_, length_}); }
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

// The pattern that a function's variable arguments, after `last`, give.
#define KVRN_PATTERN(type, name, format, last) \
  va_list args;                                \
  va_start(args, last);                        \
  const type name(format, args);               \
  va_end(args)
