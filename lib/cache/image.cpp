// SPDX-License-Identifier: MIT
#include "cache/image.hpp"

#include <kvrn/bytes.h>
#include <sys/stat.h>
#include <syslog.h>

#include <cerrno>

#include "util/clock.hpp"
#include "util/number.hpp"

namespace kvrn {
namespace {

bool fresh(int fd, const ImageSpec& spec) {
  be<std::int64_t> stamp;
  if (!read_image(fd, std::as_writable_bytes(std::span(&stamp, 1)), spec.size - sizeof stamp)) return false;
  // The stamp is two words on a 32-bit device: read while it changes from "never" to a time, it may have the low word
  // of the one and the high word of the other. That is no time of this century, and must not look fresh.
  if (stamp == INT64_C(0xFFFFFFFF)) return false;
  return wrap_add(stamp, image_max_age_s) >= monotonic_s();
}

}  // namespace

bool has_size(int fd, std::size_t size) {
  struct stat status {};
  return ::fstat(fd, &status) == 0 && status.st_size == static_cast<off_t>(size);
}

bool read_image(int fd, std::span<std::byte> out, std::size_t offset) {
  ssize_t got;
  do {
    got = ::pread(fd, out.data(), out.size(), static_cast<off_t>(offset));
  } while (got < 0 && errno == EINTR);
  return got == static_cast<ssize_t>(out.size());
}

Fd above_standard(Fd fd) {
  if (!fd || fd.get() > STDERR_FILENO) return fd;
  return Fd(::fcntl(fd.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

OpenImage open_image(const ImageSpec& spec) {
  // Read-write and synchronous, although nothing is written: only programs that may write the image share it. Only a
  // regular file has the size.
  Fd fd = above_standard(Fd::open(spec.path, O_RDWR | O_SYNC | O_NOFOLLOW | O_NONBLOCK));
  if (!fd) return {};
  if (!has_size(fd.get(), spec.size)) {
    if (spec.log_prefix) ::syslog(LOG_INFO, "%s: Result file %s is too short", spec.log_prefix, spec.path);
    return {};
  }
  Mapping mapping(fd.get(), spec.size);
  if (!mapping) {
    if (spec.log_prefix)
      ::syslog(LOG_INFO, "%s: Unable to prepare memory from file %s (%d)", spec.log_prefix, spec.path, errno);
    return {};
  }
  if (spec.ages && !fresh(fd.get(), spec)) return {};
  return {std::move(fd), std::move(mapping)};
}

}  // namespace kvrn
