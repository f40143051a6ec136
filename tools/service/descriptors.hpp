// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace service {

// A program may be started with standard input, output or error closed. The next file that it opens would get that
// number, and messages would be written into the file. To prevent this, the null device takes the free numbers. Input
// is opened for writing and output for reading, so that each use still fails. Child processes inherit these
// descriptors, like any standard stream.
inline void hold_standard_descriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
    if (::fcntl(fd, F_GETFD) < 0) (void)::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

}  // namespace service
