// SPDX-License-Identifier: MIT
// The file that names the monitor's process. Its lock tells a second monitor who is the first; what must not be written
// by two is locked itself (image_lock.hpp).
#pragma once

#include "util/handle.hpp"

namespace monitord {

class PidFile {
 public:
  // Returns false, and prints why, if the file cannot be used or another process holds it.
  bool take(const char* path);

  // Writes this process's number; again after a fork.
  bool write() const;

  // The file stays: removing it would let a third process lock a new file while a second waits for the old one.
  ~PidFile();

 private:
  kvrn::Fd fd_;
};

}  // namespace monitord
