// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>

#include <set>

// The descriptors this process has open.
inline std::set<int> open_descriptors() {
  std::set<int> open;
  for (int fd = 0; fd < 1024; ++fd)
    if (::fcntl(fd, F_GETFD) >= 0) open.insert(fd);
  return open;
}
