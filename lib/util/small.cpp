// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <kvrn/util.h>
#include <string.h>

#include "util/read_file.hpp"

uint32_t read_from_file(const char* path) {
  if (path == nullptr) return 0;
  return kvrn::read_number(path, kvrn::parse_u).value.value_or(0);
}

int set_nonblocking(int fd) {
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags < 0) return 0;
  return ::fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0 ? 1 : 0;
}

uint32_t strncpy_s(char* destination, const char* source, uint32_t size) {
  if (destination == nullptr || source == nullptr) return 0;
  // A size of 0 wraps to no limit, as callers with unbounded buffers rely on.
  const uint32_t limit = size - 1;
  const size_t available = ::strnlen(source, limit);
  ::memcpy(destination, source, available);
  destination[available] = '\0';
  return static_cast<uint32_t>(available);
}
