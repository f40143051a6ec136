// SPDX-License-Identifier: MIT
// The C library's calls that name a file or a device, in every spelling that programs import. Each finds the real call
// behind it, redirects the path, and does nothing else; read, write and mmap work on real files.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "sim/hooks/devices.hpp"
#include "sim/hooks/root.hpp"

#define KVRN_HOOK extern "C" __attribute__((visibility("default")))

namespace {

using namespace kvrn::sim;

template <typename Function>
Function real(const char* name) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

bool creates(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

// Opens of the device's files are worth a line of the trace.
template <typename Result>
Result traced(const char* path, Result result, bool failed) {
  if (path != nullptr && root() != nullptr && is_device_path(path))
    trace("open %s%s", path, outcome(failed ? errno : 0));
  return result;
}

int open_at(const char* name, int folder, const char* path, int flags, mode_t mode) {
  char buffer[path_size];
  static const auto call = real<int (*)(int, const char*, int, mode_t)>(name);
  const int fd = call(folder, redirect(path, buffer), flags, mode);
  return traced(path, fd, fd < 0);
}

FILE* open_stream(const char* name, const char* path, const char* mode) {
  char buffer[path_size];
  const auto call = real<FILE* (*)(const char*, const char*)>(name);
  FILE* file = call(redirect(path, buffer), mode);
  return traced(path, file, file == nullptr);
}

int device_ioctl(const char* name, int fd, unsigned long request, void* argument) {
  char buffer[path_size];
  if (const char* device = device_of(fd, buffer)) {
    constexpr char chips[] = "/dev/gpiochip/by-label/";
    if (::strncmp(device, chips, sizeof chips - 1) == 0)
      return gpio_chip_ioctl(device + sizeof chips - 1, request, argument);
    if (::strncmp(device, "/gpio/", 6) == 0) return gpio_line_ioctl(device + 6, request, argument);
    if (::strncmp(device, "/dev/i2c-", 9) == 0) return i2c_ioctl(fd, device + 9, request, argument);
    if (::strncmp(device, "/dev/mtd", 8) == 0) return mtd_ioctl(device + 5, request, argument);
  }
  return real<int (*)(int, unsigned long, void*)>(name)(fd, request, argument);
}

}  // namespace

#define KVRN_MODE(flags)               \
  mode_t mode = 0;                     \
  if (creates(flags)) {                \
    va_list args;                      \
    va_start(args, flags);             \
    mode = va_arg(args, unsigned int); \
    va_end(args);                      \
  }

// -- open --
#define KVRN_OPEN(name, extra)                                       \
  KVRN_HOOK int name(const char* path, int flags, ...) {             \
    KVRN_MODE(flags)                                                 \
    return open_at("openat", AT_FDCWD, path, flags | (extra), mode); \
  }
#define KVRN_OPENAT(name, extra)                                     \
  KVRN_HOOK int name(int folder, const char* path, int flags, ...) { \
    KVRN_MODE(flags)                                                 \
    return open_at("openat", folder, path, flags | (extra), mode);   \
  }
KVRN_OPEN(open, 0)
KVRN_OPENAT(openat, 0)
KVRN_OPEN(open64, O_LARGEFILE)
KVRN_OPENAT(openat64, O_LARGEFILE)
KVRN_HOOK int __open_2(const char* path, int flags) { return open_at("openat", AT_FDCWD, path, flags, 0); }
KVRN_HOOK int __open64_2(const char* path, int flags) {
  return open_at("openat", AT_FDCWD, path, flags | O_LARGEFILE, 0);
}
KVRN_HOOK int __openat_2(int folder, const char* path, int flags) { return open_at("openat", folder, path, flags, 0); }
KVRN_HOOK int __openat64_2(int folder, const char* path, int flags) {
  return open_at("openat", folder, path, flags | O_LARGEFILE, 0);
}
KVRN_HOOK int creat(const char* path, mode_t mode) {
  return open_at("openat", AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}
KVRN_HOOK int creat64(const char* path, mode_t mode) {
  return open_at("openat", AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC | O_LARGEFILE, mode);
}
KVRN_HOOK FILE* fopen(const char* path, const char* mode) { return open_stream("fopen", path, mode); }
KVRN_HOOK FILE* fopen64(const char* path, const char* mode) { return open_stream("fopen64", path, mode); }

// -- ioctl --
#define KVRN_IOCTL(name)                                   \
  KVRN_HOOK int name(int fd, unsigned long request, ...) { \
    va_list args;                                          \
    va_start(args, request);                               \
    void* argument = va_arg(args, void*);                  \
    va_end(args);                                          \
    return device_ioctl(#name, fd, request, argument);     \
  }
KVRN_IOCTL(ioctl)
KVRN_IOCTL(__ioctl_time64)

// -- calls with one path --
#define KVRN_PATH1(type, name, parameters, arguments) \
  KVRN_HOOK type name parameters {                    \
    char buffer[path_size];                           \
    return real<type(*) parameters>(#name) arguments; \
  }
#define KVRN_P redirect(path, buffer)
KVRN_PATH1(int, access, (const char* path, int mode), (KVRN_P, mode))
KVRN_PATH1(int, faccessat, (int folder, const char* path, int mode, int flags), (folder, KVRN_P, mode, flags))
KVRN_PATH1(int, unlink, (const char* path), (KVRN_P))
KVRN_PATH1(int, unlinkat, (int folder, const char* path, int flags), (folder, KVRN_P, flags))
KVRN_PATH1(int, remove, (const char* path), (KVRN_P))
KVRN_PATH1(int, mkdir, (const char* path, mode_t mode), (KVRN_P, mode))
KVRN_PATH1(int, rmdir, (const char* path), (KVRN_P))
KVRN_PATH1(int, chmod, (const char* path, mode_t mode), (KVRN_P, mode))
KVRN_PATH1(int, chown, (const char* path, uid_t user, gid_t group), (KVRN_P, user, group))
KVRN_PATH1(int, truncate, (const char* path, off_t size), (KVRN_P, size))
KVRN_PATH1(int, truncate64, (const char* path, off64_t size), (KVRN_P, size))
KVRN_PATH1(ssize_t, readlink, (const char* path, char* text, size_t size), (KVRN_P, text, size))
KVRN_PATH1(void*, opendir, (const char* path), (KVRN_P))
KVRN_PATH1(int, statx, (int folder, const char* path, int flags, unsigned mask, struct statx* out),
           (folder, KVRN_P, flags, mask, out))

// -- calls with two --
#define KVRN_PATH2(name)                                                                                \
  KVRN_HOOK int name(const char* from, const char* to) {                                                \
    char first[path_size];                                                                              \
    char second[path_size];                                                                             \
    return real<int (*)(const char*, const char*)>(#name)(redirect(from, first), redirect(to, second)); \
  }
KVRN_PATH2(rename)
KVRN_PATH2(link)
KVRN_PATH2(symlink)

// libgpiod asks which subsystem a character device belongs to.
KVRN_HOOK char* realpath(const char* path, char* resolved) {
  unsigned major_number = 0;
  unsigned minor_number = 0;
  if (root() != nullptr && path != nullptr &&
      ::sscanf(path, "/sys/dev/char/%u:%u/subsystem", &major_number, &minor_number) == 2 &&
      major_number == KVRN_SIM_GPIO_MAJOR) {
    constexpr char subsystem[] = "/sys/bus/gpio";
    if (resolved == nullptr) return ::strdup(subsystem);
    return ::strcpy(resolved, subsystem);
  }
  char buffer[path_size];
  return real<char* (*)(const char*, char*)>("realpath")(redirect(path, buffer), resolved);
}
KVRN_HOOK char* __realpath_chk(const char* path, char* resolved, size_t) { return realpath(path, resolved); }
