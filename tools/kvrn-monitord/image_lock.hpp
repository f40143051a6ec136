// SPDX-License-Identifier: MIT
// One writer of the images, whatever the pid files say: they may be removed, or have different names. The image of the
// power sources is on every board, so its own lock stands for all.
#pragma once

#include <sys/types.h>

#include "util/handle.hpp"

namespace monitord {

class ImageLock {
 public:
  // Keeps the lock on the file that has the image's name now; the file may be removed or replaced at any time.
  // @return false when another process has it. A file that cannot be opened has no writer: true.
  bool hold();

 private:
  bool has_the_name() const;

  kvrn::Fd fd_;
};

}  // namespace monitord
