// SPDX-License-Identifier: MIT
// Move-only owners. No other code in the library calls close, fclose, munmap or free for something that it opened
// itself.
#pragma once

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <utility>

namespace kvrn {

// A file descriptor. Closing it keeps errno, so a caller can still report the failure that came before.
class Fd {
 public:
  Fd() = default;
  explicit Fd(int fd) : fd_(fd) {}
  Fd(Fd&& other) noexcept : fd_(other.release()) {}
  Fd& operator=(Fd&& other) noexcept {
    if (this != &other) {
      reset();
      fd_ = other.release();
    }
    return *this;
  }
  ~Fd() { reset(); }

  // Every descriptor is close-on-exec: a program that the host starts must not inherit devices.
  static Fd open(const char* path, int flags, mode_t mode = 0) { return Fd(::open(path, flags | O_CLOEXEC, mode)); }

  // For writing files in folders that every user can write to, such as /tmp. The path may be a symbolic link of another
  // user, a FIFO or a device. None of these is opened.
  static Fd open_regular(const char* path, int flags, mode_t mode = 0) {
    Fd fd = open(path, flags | O_NOFOLLOW | O_NONBLOCK, mode);
    struct stat status {};
    if (fd && (::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode))) {
      fd.reset();
      errno = EINVAL;
    }
    return fd;
  }

  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }
  int release() { return std::exchange(fd_, -1); }
  void reset() {
    if (fd_ < 0) return;
    const int saved = errno;
    ::close(fd_);
    errno = saved;
    fd_ = -1;
  }

 private:
  int fd_ = -1;
};

// A stream, for the few parsers that take a FILE *.
struct CloseFile {
  void operator()(FILE* file) const { ::fclose(file); }
};
using Stream = std::unique_ptr<FILE, CloseFile>;

// A block from malloc or calloc.
struct FreeBlock {
  void operator()(void* block) const { ::free(block); }
};
template <typename T>
using Heap = std::unique_ptr<T, FreeBlock>;

// A shared read-only mapping of the start of a file.
class Mapping {
 public:
  Mapping() = default;
  Mapping(int fd, std::size_t size, off_t offset = 0)
      : start_(::mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, offset)), size_(size) {}
  // Takes ownership of a mapping that was released. Null means no mapping.
  static Mapping adopt(const void* start, std::size_t size) {
    Mapping mapping;
    if (start != nullptr) mapping.start_ = const_cast<void*>(start);
    mapping.size_ = size;
    return mapping;
  }
  Mapping(Mapping&& other) noexcept : start_(std::exchange(other.start_, MAP_FAILED)), size_(other.size_) {}
  Mapping& operator=(Mapping&&) = delete;
  ~Mapping() {
    if (*this) ::munmap(start_, size_);
  }

  explicit operator bool() const { return start_ != MAP_FAILED; }
  const void* get() const { return start_; }
  const void* release() { return std::exchange(start_, MAP_FAILED); }

 private:
  void* start_ = MAP_FAILED;  // NOLINT(performance-no-int-to-ptr): the C library's own constant
  std::size_t size_ = 0;
};

}  // namespace kvrn
