// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace service {

// A service may be started with standard input, output or error closed. The next file that it opens would take that
// number, and messages would be written into it: the null device takes the free ones first.
inline void hold_standard_descriptors() {
  int fd;
  do {
    fd = ::open("/dev/null", O_RDWR);  // inherited like any standard stream
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd > STDERR_FILENO) (void)::close(fd);
}

}  // namespace service
