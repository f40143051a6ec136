// SPDX-License-Identifier: MIT
// Every source that cannot be read has a default in the library, so that a service without rights runs on a generic
// board and on readings that are none. What its account cannot open is worked out here, beside the library.
#pragma once

#include <string>
#include <vector>

namespace service {

// A line for each file that this process cannot open although identification or a reading needs it:
// "/dev/mtd0: permission denied: the board may be a stand-in". Empty when nothing stands in.
std::vector<std::string> missing_access();

// What the log has heard of them: each line once, and once that it is over.
class AccessLog {
 public:
  void see(std::vector<std::string> missing);

 private:
  std::vector<std::string> missing_;
};

}  // namespace service
