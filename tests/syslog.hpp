// SPDX-License-Identifier: MIT
// What the library logs, unless masked, and how urgently. For one file of a program: its own syslog stands before the C
// library's.
#pragma once

#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <string>

inline std::string logged;  // "priority text" lines

extern "C" __attribute__((visibility("default"))) void syslog(int priority, const char* format, ...) {
  if ((LOG_MASK(LOG_PRI(priority)) & ::setlogmask(0)) == 0) return;
  char text[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  logged += std::to_string(priority) + ' ' + text + '\n';
}
