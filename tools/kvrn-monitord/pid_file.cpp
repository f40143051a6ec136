// SPDX-License-Identifier: MIT
#include "tools/kvrn-monitord/pid_file.hpp"

#include <sys/file.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

#include "tools/kvrn-monitord/say.hpp"
#include "util/number.hpp"
#include "util/text.hpp"

namespace monitord {
namespace {

using Digits = std::array<char, 32>;

// The process number in the file, "" when it is empty; nothing when it holds anything else.
std::optional<Digits> content(int fd) {
  Digits digits{};
  const ssize_t got = ::pread(fd, digits.data(), digits.size(), 0);
  if (got < 0 || got == static_cast<ssize_t>(digits.size())) return std::nullopt;
  std::span text(digits.data(), static_cast<std::size_t>(got));
  if (!text.empty() && text.back() == '\n') {
    text.back() = '\0';
    text = text.first(text.size() - 1);
  }
  if (!std::ranges::all_of(text, kvrn::is_digit)) return std::nullopt;
  return digits;
}

// Somebody may have written another file over it: only a number is taken away.
bool empty(int fd) { return content(fd) && ::ftruncate(fd, 0) == 0; }

}  // namespace

bool PidFile::take(const char* path) {
  kvrn::Fd fd = kvrn::Fd::open_regular(path, O_RDWR | O_CREAT, 0600);
  const int locked = fd ? ::flock(fd.get(), LOCK_EX | LOCK_NB) : -1;
  const int error = errno;  // of the open or of the lock
  const auto number = content(fd.get());
  if (locked != 0 && error != EWOULDBLOCK && error != EINVAL)  // EINVAL: no regular file
    say("%s: %s", path, std::strerror(error));
  else if (!number)
    say("%s: not a file with a process number, left as it is", path);
  else if (locked != 0 && (*number)[0] == '\0')
    say("another process is the monitor already (%s)", path);
  else if (locked != 0)
    say("process %s is the monitor already (%s)", number->data(), path);
  else
    fd_ = std::move(fd);
  return static_cast<bool>(fd_);
}

bool PidFile::write() const {
  const kvrn::Text<16> text("%d\n", ::getpid());
  const auto length = std::strlen(text.c_str());
  return empty(fd_.get()) && ::pwrite(fd_.get(), text.c_str(), length, 0) == static_cast<ssize_t>(length);
}

PidFile::~PidFile() {
  if (fd_) (void)empty(fd_.get());  // nobody is the monitor now; the lock goes with the descriptor
}

}  // namespace monitord
