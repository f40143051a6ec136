// SPDX-License-Identifier: MIT
// The library uses a default for every source that it cannot read. A service without access rights would therefore
// report a generic board and default values. These functions find out what the service's account cannot open. They
// allocate nothing.
#pragma once

#include <array>
#include <cstddef>

#include "util/text.hpp"

namespace service {

// A file that this process cannot open although identification or a reading needs it. The log then has the line
// "/dev/mtd0: permission denied: the board may be a stand-in".
struct Gap {
  kvrn::Text<48> path{"%s", ""};
  int error = 0;  // 0: the file can be opened, but names no flash partition with the board's data
  const char* consequence = nullptr;
};

struct Gaps {
  std::array<Gap, 16> list;
  std::size_t count = 0;

  const Gap* begin() const { return list.data(); }
  const Gap* end() const { return list.data() + count; }
};

// Writes these lines to the system log: each line once, and one message when the problem is solved.
class AccessLog {
 public:
  // Tries to open every file, and logs the changes since the last call.
  void look();

 private:
  Gaps missing_;
};

}  // namespace service
