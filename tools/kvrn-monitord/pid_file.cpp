// SPDX-License-Identifier: MIT
#include "tools/kvrn-monitord/pid_file.hpp"

#include <fmt/core.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "util/number.hpp"

namespace monitord {
namespace {

// The process number in the file, "" when it is empty; nothing when it holds anything else.
std::optional<std::string> content(int fd) {
  char buffer[32];
  const ssize_t got = ::pread(fd, buffer, sizeof buffer, 0);
  if (got < 0 || got == sizeof buffer) return std::nullopt;
  std::string text(buffer, static_cast<std::size_t>(got));
  if (text.ends_with('\n')) text.pop_back();
  if (!std::ranges::all_of(text, kvrn::is_digit)) return std::nullopt;
  return text;
}

// Somebody may have written another file over it: only a number is taken away.
bool empty(int fd) { return content(fd) && ::ftruncate(fd, 0) == 0; }

}  // namespace

bool PidFile::take(const std::string& path, std::string& why) {
  kvrn::Fd fd = kvrn::Fd::open_regular(path.c_str(), O_RDWR | O_CREAT, 0600);
  const int locked = fd ? ::flock(fd.get(), LOCK_EX | LOCK_NB) : -1;
  const int error = errno;  // of the open or of the lock
  const auto number = content(fd.get());
  if (locked != 0 && error != EWOULDBLOCK && error != EINVAL)  // EINVAL: no regular file
    why = fmt::format("{}: {}", path, std::strerror(error));
  else if (!number)
    why = fmt::format("{}: not a file with a process number, left as it is", path);
  else if (locked != 0)
    why =
        fmt::format("{} is the monitor already ({})", number->empty() ? "another process" : "process " + *number, path);
  else
    fd_ = std::move(fd);
  return static_cast<bool>(fd_);
}

bool PidFile::write() const {
  const std::string text = fmt::format("{}\n", ::getpid());
  return empty(fd_.get()) && ::pwrite(fd_.get(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
}

PidFile::~PidFile() {
  if (fd_) (void)empty(fd_.get());  // nobody is the monitor now; the lock goes with the descriptor
}

}  // namespace monitord
