// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/told_file.hpp"

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "util/handle.hpp"
#include "util/read_file.hpp"

namespace agentd {
namespace {

constexpr const char* again = "after a restart, everything that stands is told again";

}  // namespace

std::optional<std::string> ToldFile::read() {
  std::array<char, 4096> buffer;  // several times as long as the longest file
  const kvrn::FileText file = kvrn::read_file(path_.c_str(), buffer);
  if (file.error == 0) return std::string(file.text);
  errno = file.error;
  if (errno != ENOENT) ::syslog(LOG_WARNING, "%s: %m: everything that stands is told again", path_.c_str());
  return std::nullopt;
}

void ToldFile::refuse() const {
  ::syslog(LOG_WARNING, "%s: damaged: everything that stands is told again", path_.c_str());
}

void ToldFile::write(std::string_view text) {
  const bool written = replace(text);
  if (!written && !failed_) ::syslog(LOG_WARNING, "%s: %m: %s", path_.c_str(), again);
  if (written && failed_) ::syslog(LOG_NOTICE, "%s: written again", path_.c_str());
  failed_ = !written;
}

// The new file reaches the disk before it gets the name: a loss of power must leave one of the two files whole.
bool ToldFile::replace(std::string_view text) const {
  constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC;
  kvrn::Fd fd = kvrn::Fd::open_regular(fresh_.c_str(), flags, 0644);
  if (!fd && errno == ENOENT) {
    // Where no service manager makes the folder. If this fails, opening the file fails too.
    (void)::mkdir(folder_.c_str(), 0755);
    fd = kvrn::Fd::open_regular(fresh_.c_str(), flags, 0644);
  }
  if (!fd) return false;
  // A short write means a full disk.
  errno = ENOSPC;
  if (::write(fd.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()) && ::fsync(fd.get()) == 0 &&
      std::rename(fresh_.c_str(), path_.c_str()) == 0)
    return true;
  const int error = errno;
  (void)::unlink(fresh_.c_str());
  errno = error;
  return false;
}

}  // namespace agentd
