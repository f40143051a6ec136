// SPDX-License-Identifier: MIT
// A program may be started without standard input, output or error.
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace service {

// Takes those that are missing, or the first files that the program opens would be written its messages. Each is opened
// the wrong way round: reading and writing go on failing.
inline void hold_standard_descriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
    if (::fcntl(fd, F_GETFD) < 0) (void)::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

}  // namespace service
