// SPDX-License-Identifier: MIT
// A folder for one test, texts in files, and the files that are open.
#pragma once

#include <fcntl.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

class TempDir {
 public:
  TempDir() {
    char name[] = "/tmp/kvrn-test-XXXXXX";
    path_ = ::mkdtemp(name);
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  TempDir(const TempDir&) = delete;

  std::string operator/(const std::string& name) const { return (path_ / name).string(); }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

inline void write_text(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

inline std::string read_text(const std::string& path) {
  std::stringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

// The descriptors this process has open.
inline std::set<int> open_descriptors() {
  std::set<int> open;
  for (int fd = 0; fd < 1024; ++fd)
    if (::fcntl(fd, F_GETFD) >= 0) open.insert(fd);
  return open;
}
