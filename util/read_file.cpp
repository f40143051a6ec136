// SPDX-License-Identifier: MIT
#include "util/read_file.hpp"

#include <cerrno>

#include "util/handle.hpp"

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

}  // namespace kvrn
