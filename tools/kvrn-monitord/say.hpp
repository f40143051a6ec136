// SPDX-License-Identifier: MIT
#pragma once

#include <cstdarg>
#include <cstdio>

namespace monitord {

__attribute__((format(printf, 1, 0))) inline void vsay(const char* format, va_list args) {
  (void)std::fputs("kvrn-monitord: ", stderr);
  (void)std::vfprintf(stderr, format, args);
  (void)std::fputc('\n', stderr);
}

// Prints a line to standard error. Before the log is open, the user sees only this.
__attribute__((format(printf, 1, 2))) inline void say(const char* format, ...) {
  va_list args;
  va_start(args, format);
  vsay(format, args);
  va_end(args);
}

}  // namespace monitord
