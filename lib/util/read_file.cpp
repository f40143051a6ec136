// SPDX-License-Identifier: MIT
#include "util/read_file.hpp"

#include <kvrn/util.h>
#include <sys/stat.h>

#include <cerrno>

#include "util/observe.hpp"

namespace kvrn {

FileText read_file(const char* path, std::span<char> buffer) {
  // Without O_NONBLOCK a FIFO in place of the file would block the reader.
  const Fd fd = Fd::open(path, O_RDONLY | O_NONBLOCK);
  if (!fd) return {false, errno, {}};
  ssize_t got;
  do {
    got = ::read(fd.get(), buffer.data(), buffer.size());
  } while (got < 0 && errno == EINTR);
  if (got < 0) return {true, errno, {}};
  return {true, 0, std::string_view(buffer.data(), static_cast<std::size_t>(got))};
}

void tell_file(const char* path, const FileText& file, std::uint32_t what, bool useful, std::int32_t value) {
  tell(path, what,
       file.error != 0 ? KVRN_OUTCOME_FAILED
       : useful        ? KVRN_OUTCOME_ANSWERED
                       : KVRN_OUTCOME_REFUSED,
       file.error != 0 ? file.error : value);
}

Stream open_stream(const char* path, int flags) {
  if (path == nullptr) return nullptr;
  Fd fd = Fd::open(path, flags | O_NONBLOCK, 0666);
  const bool writes = flags != O_RDONLY;
  struct stat status {};
  if (!fd || ::fstat(fd.get(), &status) != 0) return nullptr;
  errno = EINVAL;
  if (!S_ISREG(status.st_mode) && !(writes && S_ISCHR(status.st_mode))) return nullptr;
  Stream stream(::fdopen(fd.get(), writes ? "w" : "r"));
  if (stream) (void)fd.release();
  return stream;
}

Stream open_blocks(const char* path) {
  Stream stream = open_stream(path, O_RDONLY);
  if (stream) (void)::setvbuf(stream.get(), nullptr, _IONBF, 0);
  return stream;
}

}  // namespace kvrn

uint32_t read_from_file(const char* path) {
  if (path == nullptr) return 0;
  return kvrn::read_number(path, kvrn::parse_u).value.value_or(0);
}
