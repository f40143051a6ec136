// SPDX-License-Identifier: MIT
// Hooks for the C library's functions that take a path, and for ioctl, under every name that programs import. Each hook
// redirects the path and calls the real function. read, write and mmap need no hooks: they work on real files.
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "sim/hooks/devices.hpp"
#include "sim/hooks/hook.hpp"
#include "sim/hooks/root.hpp"

namespace {

using namespace kvrn::sim;

bool creates(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

bool failed(long result) { return result < 0; }
bool failed(const void* result) { return result == nullptr; }

// Adds a line to the trace when the path belongs to the device.
template <typename Result>
Result traced(const char* verb, const char* path, Result result) {
  if (path != nullptr && root() != nullptr && is_device_path(path))
    trace("%s %s%s", verb, path, outcome(failed(result) ? errno : 0));
  return result;
}

int open_at(const char* name, int folder, const char* path, int flags, mode_t mode) {
  char buffer[path_size];
  static const auto call = real<int (*)(int, const char*, int, mode_t)>(name);
  return traced("open", path, call(folder, redirect_at(folder, path, buffer), flags, mode));
}

FILE* open_stream(const char* name, const char* path, const char* mode) {
  char buffer[path_size];
  const auto call = real<FILE* (*)(const char*, const char*)>(name);
  return traced("open", path, call(redirect(path, buffer), mode));
}

int device_ioctl(const char* name, int fd, unsigned long request, void* argument) {
  char buffer[path_size];
  if (const char* device = device_of(fd, buffer)) {
    // libgpiod keeps some requests in an int. Converted to long, they may have extra sign bits.
    request &= 0xFFFFFFFFUL;
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
#define KVRN_PATH1(type, name, verb, parameters, arguments)               \
  KVRN_HOOK type name parameters {                                        \
    char buffer[path_size];                                               \
    return traced(verb, path, real<type(*) parameters>(#name) arguments); \
  }
#define KVRN_P redirect(path, buffer)
#define KVRN_AT folder, redirect_at(folder, path, buffer)
KVRN_PATH1(FILE*, freopen, "open", (const char* path, const char* mode, FILE* stream), (KVRN_P, mode, stream))
KVRN_PATH1(FILE*, freopen64, "open", (const char* path, const char* mode, FILE* stream), (KVRN_P, mode, stream))
KVRN_PATH1(int, statx, "stat", (int folder, const char* path, int flags, unsigned mask, struct statx* out),
           (KVRN_AT, flags, mask, out))
KVRN_PATH1(int, access, "access", (const char* path, int mode), (KVRN_P, mode))
KVRN_PATH1(int, eaccess, "access", (const char* path, int mode), (KVRN_P, mode))
KVRN_PATH1(int, euidaccess, "access", (const char* path, int mode), (KVRN_P, mode))
KVRN_PATH1(int, faccessat, "access", (int folder, const char* path, int mode, int flags), (KVRN_AT, mode, flags))
KVRN_PATH1(int, unlink, "unlink", (const char* path), (KVRN_P))
KVRN_PATH1(int, unlinkat, "unlink", (int folder, const char* path, int flags), (KVRN_AT, flags))
KVRN_PATH1(int, remove, "unlink", (const char* path), (KVRN_P))
KVRN_PATH1(int, mkdir, "mkdir", (const char* path, mode_t mode), (KVRN_P, mode))
KVRN_PATH1(int, mkdirat, "mkdir", (int folder, const char* path, mode_t mode), (KVRN_AT, mode))
KVRN_PATH1(int, mknod, "mknod", (const char* path, mode_t mode, dev_t device), (KVRN_P, mode, device))
KVRN_PATH1(int, mknodat, "mknod", (int folder, const char* path, mode_t mode, dev_t device), (KVRN_AT, mode, device))
KVRN_PATH1(int, mkfifo, "mknod", (const char* path, mode_t mode), (KVRN_P, mode))
KVRN_PATH1(int, mkfifoat, "mknod", (int folder, const char* path, mode_t mode), (KVRN_AT, mode))
KVRN_PATH1(int, rmdir, "rmdir", (const char* path), (KVRN_P))
KVRN_PATH1(int, chdir, "chdir", (const char* path), (KVRN_P))
KVRN_PATH1(int, chmod, "chmod", (const char* path, mode_t mode), (KVRN_P, mode))
KVRN_PATH1(int, lchmod, "chmod", (const char* path, mode_t mode), (KVRN_P, mode))
KVRN_PATH1(int, fchmodat, "chmod", (int folder, const char* path, mode_t mode, int flags), (KVRN_AT, mode, flags))
KVRN_PATH1(int, chown, "chown", (const char* path, uid_t user, gid_t group), (KVRN_P, user, group))
KVRN_PATH1(int, lchown, "chown", (const char* path, uid_t user, gid_t group), (KVRN_P, user, group))
KVRN_PATH1(int, fchownat, "chown", (int folder, const char* path, uid_t user, gid_t group, int flags),
           (KVRN_AT, user, group, flags))
KVRN_PATH1(int, truncate, "truncate", (const char* path, off_t size), (KVRN_P, size))
KVRN_PATH1(int, truncate64, "truncate", (const char* path, off64_t size), (KVRN_P, size))
KVRN_PATH1(int, utimensat, "utime", (int folder, const char* path, const timespec times[2], int flags),
           (KVRN_AT, times, flags))
KVRN_PATH1(int, __utimensat64, "utime", (int folder, const char* path, const void* times, int flags),
           (KVRN_AT, times, flags))
KVRN_PATH1(ssize_t, readlink, "readlink", (const char* path, char* text, size_t size), (KVRN_P, text, size))
KVRN_PATH1(ssize_t, __readlink_chk, "readlink", (const char* path, char* text, size_t size, size_t room),
           (KVRN_P, text, size, room))
KVRN_PATH1(ssize_t, readlinkat, "readlink", (int folder, const char* path, char* text, size_t size),
           (KVRN_AT, text, size))
KVRN_PATH1(ssize_t, __readlinkat_chk, "readlink", (int folder, const char* path, char* text, size_t size, size_t room),
           (KVRN_AT, text, size, room))
KVRN_PATH1(ssize_t, getxattr, "xattr", (const char* path, const char* name, void* out, size_t size),
           (KVRN_P, name, out, size))
KVRN_PATH1(ssize_t, lgetxattr, "xattr", (const char* path, const char* name, void* out, size_t size),
           (KVRN_P, name, out, size))
KVRN_PATH1(int, setxattr, "xattr", (const char* path, const char* name, const void* value, size_t size, int flags),
           (KVRN_P, name, value, size, flags))
KVRN_PATH1(int, lsetxattr, "xattr", (const char* path, const char* name, const void* value, size_t size, int flags),
           (KVRN_P, name, value, size, flags))
KVRN_PATH1(int, removexattr, "xattr", (const char* path, const char* name), (KVRN_P, name))
KVRN_PATH1(int, lremovexattr, "xattr", (const char* path, const char* name), (KVRN_P, name))
KVRN_PATH1(ssize_t, listxattr, "xattr", (const char* path, char* names, size_t size), (KVRN_P, names, size))
KVRN_PATH1(ssize_t, llistxattr, "xattr", (const char* path, char* names, size_t size), (KVRN_P, names, size))
KVRN_PATH1(int, statfs, "statfs", (const char* path, struct statfs* out), (KVRN_P, out))
KVRN_PATH1(int, statfs64, "statfs", (const char* path, struct statfs64* out), (KVRN_P, out))
KVRN_PATH1(int, inotify_add_watch, "watch", (int fd, const char* path, uint32_t mask), (fd, KVRN_P, mask))
// The text of a link is not redirected: it is resolved later, by the reader of the link.
KVRN_PATH1(int, symlink, "symlink", (const char* text, const char* path), (text, KVRN_P))
KVRN_PATH1(int, symlinkat, "symlink", (const char* text, int folder, const char* path), (text, KVRN_AT))

// -- calls with two paths --
#define KVRN_PATH2(name, verb, parameters, arguments)            \
  KVRN_HOOK int name parameters {                                \
    char first[path_size];                                       \
    char second[path_size];                                      \
    const int result = real<int(*) parameters>(#name) arguments; \
    return traced(verb " to", to, traced(verb, from, result));   \
  }
#define KVRN_FROM redirect(from, first)
#define KVRN_TO redirect(to, second)
#define KVRN_FROM_AT folder, redirect_at(folder, from, first)
#define KVRN_TO_AT into, redirect_at(into, to, second)
KVRN_PATH2(rename, "rename", (const char* from, const char* to), (KVRN_FROM, KVRN_TO))
KVRN_PATH2(renameat, "rename", (int folder, const char* from, int into, const char* to), (KVRN_FROM_AT, KVRN_TO_AT))
KVRN_PATH2(renameat2, "rename", (int folder, const char* from, int into, const char* to, unsigned flags),
           (KVRN_FROM_AT, KVRN_TO_AT, flags))
KVRN_PATH2(link, "link", (const char* from, const char* to), (KVRN_FROM, KVRN_TO))
KVRN_PATH2(linkat, "link", (int folder, const char* from, int into, const char* to, int flags),
           (KVRN_FROM_AT, KVRN_TO_AT, flags))

// -- temporary files: the letters that were chosen are copied into the caller's template --
#define KVRN_TEMPLATE(name, parameters, arguments)                                   \
  KVRN_HOOK int name parameters {                                                    \
    char buffer[path_size];                                                          \
    char* at = const_cast<char*>(redirect(path, buffer));                            \
    const int fd = real<int(*) parameters>(#name) arguments;                         \
    if (fd >= 0 && at != path) ::strcpy(path, at + (::strlen(at) - ::strlen(path))); \
    return traced("open", path, fd);                                                 \
  }
KVRN_TEMPLATE(mkstemp, (char* path), (at))
KVRN_TEMPLATE(mkstemp64, (char* path), (at))
KVRN_TEMPLATE(mkostemp, (char* path, int flags), (at, flags))
KVRN_TEMPLATE(mkostemp64, (char* path, int flags), (at, flags))

KVRN_HOOK char* mkdtemp(char* path) {
  char buffer[path_size];
  char* at = const_cast<char*>(redirect(path, buffer));
  if (traced("mkdir", path, real<char* (*)(char*)>("mkdtemp")(at)) == nullptr) return nullptr;
  if (at != path) ::strcpy(path, at + (::strlen(at) - ::strlen(path)));
  return path;
}

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
  const char* at = redirect(path, buffer);
  char* answer = real<char* (*)(const char*, char*)>("realpath")(at, resolved);
  if (answer == nullptr || at == path) return answer;
  // Return the path on the device, not the real path in the device's folder.
  const size_t prefix = ::strlen(root());
  if (::strncmp(answer, root(), prefix) == 0 && answer[prefix] == '/')
    ::memmove(answer, answer + prefix, ::strlen(answer + prefix) + 1);
  return answer;
}
KVRN_HOOK char* canonicalize_file_name(const char* path) { return realpath(path, nullptr); }
KVRN_HOOK char* __realpath_chk(const char* path, char* resolved, size_t) { return realpath(path, resolved); }
