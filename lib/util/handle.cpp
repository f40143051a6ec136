// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <kvrn/util.h>

int set_nonblocking(int fd) {
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags < 0) return 0;
  return ::fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0 ? 1 : 0;
}
