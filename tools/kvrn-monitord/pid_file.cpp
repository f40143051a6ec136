// SPDX-License-Identifier: MIT
#include "tools/kvrn-monitord/pid_file.hpp"

#include <fmt/core.h>
#include <sys/file.h>

#include <cerrno>
#include <cstring>

#include "util/read_file.hpp"

namespace monitord {

bool PidFile::take(const std::string& path, std::string& why) {
  fd_ = kvrn::Fd::open(path.c_str(), O_RDWR | O_CREAT, 0600);
  // Above the standard descriptors, which going into the background replaces.
  if (fd_ && fd_.get() < 3) fd_ = kvrn::Fd(::fcntl(fd_.get(), F_DUPFD_CLOEXEC, 3));
  if (!fd_) {
    why = fmt::format("{}: {}", path, std::strerror(errno));
    return false;
  }
  if (::flock(fd_.get(), LOCK_EX | LOCK_NB) == 0) return true;
  const auto holder = kvrn::read_number(path.c_str(), kvrn::parse_d).value;
  why = errno != EWOULDBLOCK ? fmt::format("{}: {}", path, std::strerror(errno))
        : holder             ? fmt::format("process {} is the monitor already ({})", *holder, path)
                             : fmt::format("another process is the monitor already ({})", path);
  fd_.reset();
  return false;
}

bool PidFile::write() const {
  const std::string text = fmt::format("{}\n", ::getpid());
  return ::ftruncate(fd_.get(), 0) == 0 &&
         ::pwrite(fd_.get(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
}

PidFile::~PidFile() {
  if (fd_) (void)!::ftruncate(fd_.get(), 0);  // nobody is the monitor now; the lock goes with the descriptor
}

}  // namespace monitord
