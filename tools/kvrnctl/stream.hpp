// SPDX-License-Identifier: MIT
// What commands that go on until a signal have in common.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tools/kvrnctl/context.hpp"
#include "util/handle.hpp"

namespace kvrnctl {

// Repeats a job until SIGINT, SIGTERM or SIGHUP. They end it only between two turns, so that no text is cut. A reader
// that closes its end of standard output's pipe ends it too, even while there is nothing to write. Neither is a
// failure. A service manager that watches the process hears from it in every wait, but not while a reading hangs.
class Stream {
 public:
  // `to_reader`: whether the texts go to standard output.
  Stream(double period_s, bool to_reader);

  // Waits for the next turn; the first one is at once. @return false at the end
  bool next();

  // Writes to standard output at once. A failure ends the stream.
  void print(const std::string& text);

  Exit exit() const { return failed_ ? Exit::failed : Exit::ok; }

 private:
  using Clock = std::chrono::steady_clock;

  Clock::duration period_;
  bool to_reader_;
  std::optional<std::chrono::microseconds> watchdog_;
  kvrn::Fd signals_;
  Clock::time_point next_ = Clock::now();
  bool ended_ = false;
  bool failed_ = false;
};

// Failures that last are told once, not in every period. A failure that comes back is told again.
class Told {
 public:
  void see(const Context& context, const std::vector<std::string>& failures);

 private:
  std::vector<std::string> last_;
};

// The time, in seconds and UTC: "2026-03-01T09:30:00Z".
std::string utc_now();

}  // namespace kvrnctl
