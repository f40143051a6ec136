// SPDX-License-Identifier: MIT
#include "tools/kvrn-monitord/image_lock.hpp"

#include <sys/file.h>
#include <sys/stat.h>

#include "cache/image.hpp"

namespace monitord {

bool ImageLock::has_the_name() const {
  struct stat held {};
  struct stat named {};
  return fd_ && ::fstat(fd_.get(), &held) == 0 && ::lstat(kvrn::psu_cache_file.path, &named) == 0 &&
         held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

bool ImageLock::hold() {
  // Who removes the file between the open and the lock does it a few times at most.
  for (int attempt = 0; attempt < 3 && !has_the_name(); ++attempt) {
    // As the image's writer opens it, which fills it.
    fd_ = kvrn::Fd::open_regular(kvrn::psu_cache_file.path, O_RDWR | O_CREAT, 0640);
    if (!fd_) return true;
    if (::flock(fd_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
      fd_.reset();
      return false;
    }
  }
  return true;
}

}  // namespace monitord
