// SPDX-License-Identifier: MIT
#include "cache/writer.hpp"

#include <kvrn/bytes.h>
#include <sys/stat.h>
#include <syslog.h>

#include <cerrno>

#include "util/clock.hpp"

namespace kvrn {
namespace {

constexpr std::size_t largest_image = 552;
constexpr std::size_t largest_record = 136;
constexpr mode_t image_mode = 0640;  // all programs that share the images run as one user
constexpr std::int64_t never = -1;

bool write_image(int fd, std::span<const std::byte> bytes, std::size_t offset) {
  ssize_t put;
  do {
    put = ::pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset));
  } while (put < 0 && errno == EINTR);
  return put == static_cast<ssize_t>(bytes.size());
}

bool write_stamp(int fd, const ImageSpec& spec, std::int64_t seconds) {
  const be<std::int64_t> stamp = seconds;
  return write_image(fd, std::as_bytes(std::span(&stamp, 1)), spec.size - sizeof stamp);
}

bool initialize(const ImageSpec& spec, int fd, void (*fill)(std::span<std::byte>)) {
  alignas(std::int64_t) std::byte content[largest_image]{};
  const std::span image(content, spec.size);
  if (fill != nullptr) fill(image);
  return write_image(fd, image, 0);
}

}  // namespace

Fd open_for_writing(const WriterSpec& spec, void (*fill)(std::span<std::byte> image)) {
  const ImageSpec& file = spec.image;
  Fd fd = above_standard(Fd::open_regular(file.path, O_RDWR | O_CREAT | O_SYNC, image_mode));
  if (!fd) {
    ::syslog(LOG_WARNING, "%s: Unable to open %s %s (%d)", file.log_prefix, spec.file_kind, file.path, errno);
    return {};
  }
  if (has_size(fd.get(), file.size)) return fd;
  // A file that is too long is used too and keeps its length. Readers refuse it until somebody removes it.
  ::syslog(LOG_DEBUG, "%s: Cache file %s is too short. Creating new", file.log_prefix, file.path);
  if (initialize(file, fd.get(), fill)) return fd;
  ::syslog(LOG_WARNING, "%s: Unable to initialize cache file %s (%d)", file.log_prefix, file.path, errno);
  return {};
}

bool map_for_writing(const WriterSpec& spec, Fd fd, WriterImage& image) {
  const ImageSpec& file = spec.image;
  void* start = ::mmap(nullptr, file.size, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
  if (start == MAP_FAILED) {
    ::syslog(LOG_WARNING, "%s: Unable to prepare memory from file %s (%d)", file.log_prefix, file.path, errno);
    return false;
  }
  // The stamp is written first. When this fails, nothing is cleared, so no reader takes the cleared record for a fresh
  // one. Only the first record is cleared: programs show the last values of the other records until the first refresh.
  // If the file cannot be written, the image becomes too old by itself.
  const std::byte zero[largest_record]{};
  if (write_stamp(fd.get(), file, never)) (void)write_image(fd.get(), {zero, spec.record_size}, 0);
  image = {start, fd.release()};
  return true;
}

void drop_if_replaced(const WriterSpec& spec, WriterImage& image) {
  if (image.start == nullptr) return;
  struct stat held {};
  struct stat named {};
  if (::fstat(image.fd, &held) != 0) return;
  if (::lstat(spec.image.path, &named) != 0) {
    if (errno != ENOENT) return;
  } else if (held.st_dev == named.st_dev && held.st_ino == named.st_ino) {
    return;
  }
  (void)::munmap(image.start, spec.image.size);  // fails only for wrong arguments
  const Fd closed(image.fd);
  image = {};
}

int publish(const WriterSpec& spec, const WriterImage& image, std::span<const std::byte> records) {
  // Records and stamp are each one write at a fixed position, so a file that was truncated becomes complete again. When
  // writing the records fails, the stamp is not written: old records must not look fresh.
  if (!write_image(image.fd, records, 0)) return 0;
  const std::int64_t now = monotonic_s();
  (void)write_stamp(image.fd, spec.image, now);  // after a failure readers still see the old stamp
  return static_cast<int>(now >> 32);
}

}  // namespace kvrn
