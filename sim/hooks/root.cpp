// SPDX-License-Identifier: MIT
#include "sim/hooks/root.hpp"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kvrn::sim {
namespace {

// Does not change errno.
bool find_canonical(const char* folder, char (&canonical)[path_size]) {
  const int saved = errno;
  const int fd = open_raw(folder, O_PATH | O_DIRECTORY);
  const bool found = fd >= 0 && path_of(fd, canonical);
  if (fd >= 0) ::close(fd);
  errno = saved;
  return found;
}

}  // namespace

// The descriptor's link in /proc gives the canonical path. realpath() cannot be used, because it is hooked.
bool path_of(int fd, char (&buffer)[path_size]) {
  const int saved = errno;
  char link[64] = "/proc/self/cwd";
  if (fd != AT_FDCWD) ::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  const long length = ::syscall(SYS_readlinkat, AT_FDCWD, link, buffer, sizeof buffer - 1);
  errno = saved;
  if (length > 0) buffer[length] = '\0';
  return length > 0;
}

const char* root() {
  static thread_local char canonical[path_size];
  static thread_local char as_given[path_size];
  static thread_local char source[path_size];
  const char* wanted = ::getenv("KVRN_SIM_ROOT");
  if (wanted == nullptr || *wanted == '\0') return nullptr;
  if (::strcmp(wanted, source) != 0) {
    if (!find_canonical(wanted, canonical)) {
      // The folder was removed, is not accessible, or its path is too long. Return the path as given: file operations
      // then fail with the kernel's error. With null, the program would work on the machine instead of the device.
      ::snprintf(as_given, sizeof as_given, "%s", wanted);
      return as_given;
    }
    ::snprintf(source, sizeof source, "%s", wanted);
  }
  return canonical;
}

const char* redirect_at(int base, const char* path, char (&buffer)[path_size]) {
  if (path == nullptr || path[0] == '\0') return path;
  const char* folder = root();
  if (folder == nullptr) return path;
  const char* given = path;
  char absolute[path_size];
  if (path[0] != '/') {
    if (!path_of(base, absolute)) return path;
    while (::strncmp(path, "./", 2) == 0) path += 2;
    const size_t length = ::strlen(absolute);
    ::snprintf(absolute + length, sizeof absolute - length, "/%s", path);
    path = absolute;
  }
  if (!is_device_path(path)) return given;
  // The path is already in the device's folder. This happens when that folder itself matches a rule, such as
  // /tmp/system.cfg.d.
  const size_t prefix = ::strlen(folder);
  if (::strncmp(path, folder, prefix) == 0 && (path[prefix] == '/' || path[prefix] == '\0')) return given;
  // A path that the buffer cuts is still too long for the kernel.
  ::snprintf(buffer, sizeof buffer, "%s%s", folder, path);
  return buffer;
}

const char* redirect(const char* path, char (&buffer)[path_size]) { return redirect_at(AT_FDCWD, path, buffer); }

const char* device_of(int fd, char (&buffer)[path_size]) {
  const char* folder = root();
  if (folder == nullptr || !path_of(fd, buffer)) return nullptr;
  const size_t prefix = ::strlen(folder);
  return ::strncmp(buffer, folder, prefix) == 0 && buffer[prefix] == '/' ? buffer + prefix : nullptr;
}

int open_raw(const char* path, int flags, unsigned mode) {
  return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags | O_CLOEXEC, mode));
}

namespace {

void state_path(char (&path)[path_size], const char* format, va_list args) {
  const int prefix = ::snprintf(path, sizeof path, "%s/", root());
  ::vsnprintf(path + prefix, sizeof path - static_cast<size_t>(prefix), format, args);
}

}  // namespace

bool read_state(char* text, size_t size, const char* format, ...) {
  char path[path_size];
  va_list args;
  va_start(args, format);
  state_path(path, format, args);
  va_end(args);
  const int fd = open_raw(path, O_RDONLY);
  if (fd < 0) return false;
  const ssize_t got = ::read(fd, text, size - 1);
  ::close(fd);
  if (got < 0) return false;
  text[got] = '\0';
  return true;
}

bool write_state(const char* text, const char* format, ...) {
  char path[path_size];
  va_list args;
  va_start(args, format);
  state_path(path, format, args);
  va_end(args);
  // Overwrite the file in place, then truncate it: another program never reads an empty file.
  const int fd = open_raw(path, O_WRONLY | O_CREAT, 0644);
  if (fd < 0) return false;
  const auto length = static_cast<ssize_t>(::strlen(text));
  const bool written = ::write(fd, text, static_cast<size_t>(length)) == length && ::ftruncate(fd, length) == 0;
  ::close(fd);
  return written;
}

void trace(const char* format, ...) {
  const char* folder = root();
  if (folder == nullptr) return;
  const int saved = errno;
  char path[path_size];
  ::snprintf(path, sizeof path, "%s/trace", folder);
  const int fd = open_raw(path, O_WRONLY | O_APPEND);
  if (fd >= 0) {
    char line[path_size];
    va_list args;
    va_start(args, format);
    int length = ::vsnprintf(line, sizeof line - 1, format, args);
    va_end(args);
    if (length > static_cast<int>(sizeof line) - 2) length = static_cast<int>(sizeof line) - 2;
    line[length] = '\n';
    [[maybe_unused]] const ssize_t written = ::write(fd, line, static_cast<size_t>(length) + 1);
    ::close(fd);
  }
  errno = saved;
}

const char* outcome(int error) {
  static thread_local char text[32];
  if (error == 0) return "";
  const char* name = ::strerrorname_np(error);
  ::snprintf(text, sizeof text, " %s", name == nullptr ? "error" : name);
  return text;
}

}  // namespace kvrn::sim
