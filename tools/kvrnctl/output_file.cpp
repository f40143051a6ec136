// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/output_file.hpp"

#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "tools/kvrnctl/context.hpp"
#include "util/handle.hpp"

namespace kvrnctl {
namespace {

// A signal that ends the program must not leave the new file behind.
class NoSignals {
 public:
  NoSignals() {
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_SETMASK, &all, &before_);
  }
  ~NoSignals() { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }
  NoSignals(const NoSignals&) = delete;

 private:
  sigset_t before_{};
};

// A rename would replace a device, and a link that leads elsewhere.
bool may_be_replaced(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

}  // namespace

bool write_all(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(fd, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::string replace_output(const std::string& path, std::string_view text) {
  if (!may_be_replaced(path)) return fmt::format("{}: is no regular file", path);
  // The name ends with random letters: a collector that reads all files with one ending does not read this one.
  std::string fresh = path + ".XXXXXX";
  const NoSignals quiet;
  const kvrn::Fd fd(::mkostemp(fresh.data(), O_CLOEXEC));
  if (fd && ::fchmod(fd.get(), 0644) == 0 && write_all(fd.get(), text) && ::rename(fresh.c_str(), path.c_str()) == 0)
    return {};
  const int error = errno;
  if (fd) ::unlink(fresh.c_str());
  return fmt::format("{}: {}", path, errno_text(error));
}

std::string remove_output(const std::string& path) {
  if (!may_be_replaced(path) || ::unlink(path.c_str()) == 0 || errno == ENOENT) return {};
  return fmt::format("{}: cannot be removed: {}", path, errno_text(errno));
}

}  // namespace kvrnctl
