// SPDX-License-Identifier: MIT
// One monitor a device: an advisory lock on a file that names the process that holds it.
#pragma once

#include <string>

#include "util/handle.hpp"

namespace monitord {

class PidFile {
 public:
  // False, with the reason in `why`, when the file cannot be opened or another process holds it.
  bool take(const std::string& path, std::string& why);

  // Writes this process's number; again after a fork.
  bool write() const;

  // The file stays: removing it would let a third process lock a new file while a second waits for the old one.
  ~PidFile();

 private:
  kvrn::Fd fd_;
};

}  // namespace monitord
