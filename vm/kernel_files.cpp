// SPDX-License-Identifier: MIT
#include "vm/kernel_files.hpp"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kvrn::vm {

std::string get(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void put(const std::string& path, const std::string& text) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  const bool taken = fd >= 0 && ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  const int error = errno;
  if (fd >= 0) ::close(fd);
  if (!taken) throw std::runtime_error(path + " = " + text + ": " + std::strerror(error));
}

void put_file(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text << std::flush;
  if (!out) throw std::runtime_error(path);
}

void unload_module(std::string name) {
  std::ranges::replace(name, '-', '_');
  // A program that reads the device at this moment holds the module.
  for (int tries = 0; tries < 50 && ::syscall(SYS_delete_module, name.c_str(), O_NONBLOCK) != 0; ++tries) {
    if (errno != EAGAIN && errno != EBUSY) return;
    ::usleep(50'000);
  }
}

void load_module(const std::string& name, const std::string& options) {
  const int fd = ::open(("/lib/modules/" + name + ".ko").c_str(), O_RDONLY | O_CLOEXEC);
  const bool done = ::syscall(SYS_finit_module, fd, options.c_str(), 0) == 0;
  const int error = errno;
  if (fd >= 0) ::close(fd);
  if (!done) throw std::runtime_error(name + ' ' + options + ": " + std::strerror(error));
}

std::string first_word(const std::string& text) { return text.substr(0, text.find_first_of(" \n")); }

}  // namespace kvrn::vm
