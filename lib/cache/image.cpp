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

std::int64_t size_of(int fd) {
  struct stat status {};
  return ::fstat(fd, &status) == 0 ? std::int64_t{status.st_size} : -1;
}

// On a 32-bit device the stamp is two words. A reader that reads it while it changes from -1 to a time may get the low
// word of -1 and the high word of the time. This value is far in the future and must not look fresh.
constexpr std::int64_t torn = INT64_C(0xFFFFFFFF);

// Seconds since the last refresh; negative for a stamp in the future.
std::int32_t age(std::int64_t stamp) {
  if (stamp < 0 || stamp == torn) return never_refreshed;
  if (stamp > INT32_MAX) return INT32_MIN;
  return static_cast<std::int32_t>(monotonic_s()) - static_cast<std::int32_t>(stamp);
}

bool usable(int fd, const ImageSpec& spec) {
  if (!spec.ages && !observed()) return true;
  be<std::int64_t> field;
  if (!read_image(fd, std::as_writable_bytes(std::span(&field, 1)), spec.size - sizeof field)) {
    tell_failed(spec.path, spec.what);
    return !spec.ages;
  }
  const std::int64_t stamp = field;
  const bool good = !spec.ages || (stamp != torn && wrap_add(stamp, image_max_age_s) >= monotonic_s());
  tell(spec.path, spec.what, good ? KVRN_OUTCOME_ANSWERED : KVRN_OUTCOME_STALE, observed() ? age(stamp) : 0);
  return good;
}

// Reports the errno and returns an empty image.
OpenImage unusable(const ImageSpec& spec) {
  tell_failed(spec.path, spec.what);
  return {};
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
  // The file is opened read-write and synchronously, although nothing is written: only programs that may write the
  // image share it. Only a regular file passes the size check below.
  Fd fd = above_standard(Fd::open(spec.path, O_RDWR | O_SYNC | O_NOFOLLOW | O_NONBLOCK));
  if (!fd) return unusable(spec);
  if (!has_size(fd.get(), spec.size)) {
    if (spec.log_prefix) ::syslog(LOG_INFO, "%s: Result file %s is too short", spec.log_prefix, spec.path);
    tell(spec.path, spec.what, KVRN_OUTCOME_WRONG_SIZE, static_cast<std::int32_t>(size_of(fd.get())));
    return {};
  }
  Mapping mapping(fd.get(), spec.size);
  if (!mapping) {
    if (spec.log_prefix)
      ::syslog(LOG_INFO, "%s: Unable to prepare memory from file %s (%d)", spec.log_prefix, spec.path, errno);
    return unusable(spec);
  }
  if (!usable(fd.get(), spec)) return {};
  return {std::move(fd), std::move(mapping)};
}

}  // namespace kvrn
