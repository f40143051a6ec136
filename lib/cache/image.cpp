// SPDX-License-Identifier: MIT
#include "cache/image.hpp"

#include <kvrn/bytes.h>
#include <sys/stat.h>
#include <syslog.h>

#include <cerrno>

#include "util/clock.hpp"
#include "util/number.hpp"
#include "util/observe.hpp"

namespace kvrn {
namespace {

Place place(const ImageSpec& spec) { return {KVRN_SOURCE_IMAGE, spec.path}; }

std::int64_t size_of(int fd) {
  struct stat status {};
  return ::fstat(fd, &status) == 0 ? std::int64_t{status.st_size} : -1;
}

// Seconds since the last refresh, negative for a stamp in the future.
std::int64_t age(std::int64_t stamp) {
  // The stamp is two words on a 32-bit device: read while it changes from "never" to a time, it may have the low word
  // of the one and the high word of the other. That is no time of this century, and must not look fresh.
  constexpr std::int64_t torn = INT64_C(0xFFFFFFFF);
  return stamp < 0 || stamp == torn ? KVRN_NEVER_REFRESHED : wrap_add(monotonic_s(), -stamp);
}

bool fresh(std::int64_t stamp) {
  return stamp != INT64_C(0xFFFFFFFF) && wrap_add(stamp, image_max_age_s) >= monotonic_s();
}

bool usable(int fd, const ImageSpec& spec) {
  if (!spec.ages && !observed()) return true;
  be<std::int64_t> stamp;
  const bool read = read_image(fd, std::as_writable_bytes(std::span(&stamp, 1)), spec.size - sizeof stamp);
  const bool good = !spec.ages || (read && fresh(stamp));
  tell(place(spec), spec.fact,
       !read ? failed(errno) : Answer{good ? KVRN_OUTCOME_ANSWERED : KVRN_OUTCOME_STALE, 0, age(stamp)});
  return good;
}

}  // namespace

bool has_size(int fd, std::size_t size) { return size_of(fd) == static_cast<std::int64_t>(size); }

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
  if (!fd) {
    tell(place(spec), spec.fact, failed(errno));
    return {};
  }
  if (!has_size(fd.get(), spec.size)) {
    if (spec.log_prefix) ::syslog(LOG_INFO, "%s: Result file %s is too short", spec.log_prefix, spec.path);
    tell(place(spec), spec.fact, {KVRN_OUTCOME_WRONG_SIZE, 0, size_of(fd.get())});
    return {};
  }
  Mapping mapping(fd.get(), spec.size);
  if (!mapping) {
    const int error = errno;
    if (spec.log_prefix)
      ::syslog(LOG_INFO, "%s: Unable to prepare memory from file %s (%d)", spec.log_prefix, spec.path, error);
    tell(place(spec), spec.fact, failed(error));
    return {};
  }
  if (!usable(fd.get(), spec)) return {};
  return {std::move(fd), std::move(mapping)};
}

}  // namespace kvrn
