// SPDX-License-Identifier: MIT
// The command line, by the C library's own parser: the monitor has no C++ run time, and tools/cli needs one. Refusals
// read as those of the other programs.
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

// @return the status to end with: 0 after the help or the version, 1 when standard output did not take them, 2 after
// wrong usage, which is said; nothing: `options` holds what was asked for
std::optional<int> parse(Options& options, int argc, char** argv);

}  // namespace monitord
