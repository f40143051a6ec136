// SPDX-License-Identifier: MIT
// The monitor's command line. It is parsed with getopt_long(), because tools/cli needs the C++ run time, which the
// monitor must not have. The messages are those of the other programs.
#pragma once

#include <optional>

namespace monitord {

inline constexpr const char* default_pid_file = "/run/kvrn/monitord.pid";

struct Options {
  double period_s = 2;
  bool once = false;
  bool background = false;
  bool to_stderr = false;
  const char* pid_file = default_pid_file;
};

// Returns the exit status if the program must end: 0 after the help or the version, 1 if they could not be written, 2
// for wrong usage. Otherwise `options` holds what the user asked for.
std::optional<int> parse(Options& options, int argc, char** argv);

}  // namespace monitord
