// SPDX-License-Identifier: MIT
#include "util/read_file.hpp"

#include <kvrn/util.h>
#include <sys/stat.h>

#include <cerrno>

namespace kvrn {

FileText read_file(const char* path, std::span<char> buffer) {
  // A FIFO in place of a file must not block the reader.
  const Fd fd = Fd::open(path, O_RDONLY | O_NONBLOCK);
  if (!fd) return {};
  ssize_t got;
  do {
    got = ::read(fd.get(), buffer.data(), buffer.size());
  } while (got < 0 && errno == EINTR);
  if (got <= 0) return {true, {}};
  return {true, std::string_view(buffer.data(), static_cast<std::size_t>(got))};
}

Stream open_stream(const char* path, int flags) {
  if (path == nullptr) return nullptr;
  Fd fd = Fd::open(path, flags | O_NONBLOCK, 0666);
  const bool writes = flags != O_RDONLY;
  struct stat status {};
  if (!fd || ::fstat(fd.get(), &status) != 0) return nullptr;
  if (!S_ISREG(status.st_mode) && !(writes && S_ISCHR(status.st_mode))) return nullptr;
  Stream stream(::fdopen(fd.get(), writes ? "w" : "r"));
  if (stream) (void)fd.release();
  return stream;
}

}  // namespace kvrn

uint32_t read_from_file(const char* path) {
  if (path == nullptr) return 0;
  return kvrn::read_number(path, kvrn::parse_u).value.value_or(0);
}
