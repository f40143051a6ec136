// SPDX-License-Identifier: MIT
// What every command has in common: the global options, exit statuses, and the result it hands back.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/kvrnctl/json.hpp"

namespace kvrnctl {

// The exit statuses of the program.
enum class Exit : int { ok = 0, failed = 1, usage = 2, stale = 3, not_on_this_board = 4 };

// Version of the JSON documents' shape; it grows when a key changes its meaning or goes away.
inline constexpr int schema_version = 2;

struct Context {
  bool json = false;
  int verbosity = 0;
  bool color = false;

  // Diagnostics go to standard error: always, or only with -v.
  void warn(std::string_view text) const;
  void note(std::string_view text) const;
};

// One document a run. `data` holds the command's sections, `text` the same for people; `errors` are said in both.
struct Result {
  json data = json::object();
  std::string text;
  std::vector<std::string> errors;
  Exit exit = Exit::ok;

  // The first failure's status stays.
  void fail(Exit status, std::string error);
  // What could not be read: without any it is no failure.
  void fail_for(const std::vector<std::string>& unread);
};

// False, with a diagnostic, when standard output did not take everything.
bool flush_output();

// Prints the result and returns the exit status.
int deliver(const Context& context, const Result& result);

// `errno` in words.
std::string errno_text(int error);

}  // namespace kvrnctl
