// SPDX-License-Identifier: MIT
#include <errno.h>
#include <kvrn/util.h>
#include <stdio.h>
#include <sys/stat.h>

#include "util/handle.hpp"
#include "util/text.hpp"

namespace kvrn {
namespace {

constexpr size_t chunk_size = 128;
constexpr int generations = 20;  // highest number of a copy

bool write_all(int fd, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(fd, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    data += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

bool copy_all(int from, int to) {
  char chunk[chunk_size];
  for (;;) {
    const ssize_t got = ::read(from, chunk, sizeof chunk);
    if (got < 0) return false;
    if (got == 0) return true;
    if (!write_all(to, chunk, static_cast<size_t>(got))) return false;
  }
}

bool copy_file(const char* source, const char* destination, mode_t mode) {
  const Fd from = Fd::open(source, O_RDONLY);
  if (!from) return false;
  Fd to = Fd::open(destination, O_WRONLY | O_CREAT | O_EXCL, mode);
  if (!to || !copy_all(from.get(), to.get())) return false;
  // A delayed write error is reported by close() at the latest.
  return ::close(to.release()) == 0;
}

}  // namespace
}  // namespace kvrn

int fileCopy(const char* source, const char* destination, int mode) {
  if (source == nullptr || destination == nullptr) {
    errno = EFAULT;
    return 0;
  }
  return kvrn::copy_file(source, destination, static_cast<mode_t>(mode)) ? 1 : 0;
}

void backup_file(const char* directory, const char* name) {
  if (directory == nullptr || name == nullptr) return;
  const kvrn::Path folder("%s/%s_b/", directory, name);
  (void)::mkdir(folder.c_str(), 0777);  // the folder may exist; if it cannot be created, the copy fails
  for (int number = kvrn::generations - 1; number >= 0; --number) {
    const kvrn::Path older("%s/%s_b/%s.%d", directory, name, name, number + 1);
    const kvrn::Path newer("%s/%s_b/%s.%d", directory, name, name, number);
    (void)::rename(newer.c_str(), older.c_str());  // fails for a missing copy, which is skipped
  }
  const kvrn::Path current("%s/%s", directory, name);
  const kvrn::Path first("%s/%s_b/%s.0", directory, name, name);
  (void)kvrn::copy_file(current.c_str(), first.c_str(), 0666);
}
