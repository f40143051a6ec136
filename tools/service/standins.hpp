// SPDX-License-Identifier: MIT
// The library uses a default for every source that it cannot read. A service without access rights would therefore
// report a generic board and default values. These functions find out what the service's account cannot open.
#pragma once

#include <string>
#include <vector>

namespace service {

// Returns a line for each file that this process cannot open although identification or a reading needs it:
// "/dev/mtd0: permission denied: the board may be a stand-in". Empty when no default is used.
std::vector<std::string> missing_access();

// Writes these lines to the system log: each line once, and one message when the problem is solved.
class AccessLog {
 public:
  void see(std::vector<std::string> missing);

 private:
  std::vector<std::string> missing_;
};

}  // namespace service
