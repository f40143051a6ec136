// SPDX-License-Identifier: MIT
// What all commands have in common: the global options, the exit statuses, and the result.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/kvrnctl/json.hpp"

namespace kvrnctl {

// The exit statuses of the program.
enum class Exit : int { ok = 0, failed = 1, usage = 2, stale = 3, not_on_this_board = 4 };

// Version of the JSON documents' structure. It increases when a key is removed or changes its meaning.
inline constexpr int schema_version = 2;

struct Context {
  bool json = false;
  int verbosity = 0;
  bool color = false;

  // Write diagnostics to standard error: warn() always, note() only with -v.
  void warn(std::string_view text) const;
  void note(std::string_view text) const;
};

// The result of a run. `data` holds the command's sections, `text` the same for people. Both forms include `errors`.
struct Result {
  json data = json::object();
  std::string text;
  std::vector<std::string> errors;
  Exit exit = Exit::ok;
  bool printed = false;  // the texts went elsewhere, or are out already: only errors and status are left

  // Adds a failure. The exit status is that of the first failure.
  void fail(Exit status, std::string error);
  // Adds a failure for everything that could not be read. An empty list is no failure.
  void fail_for(const std::vector<std::string>& unread);
};

// False, with a diagnostic, when standard output could not be written completely.
bool flush_output();

// The result as standard output shows it. A document has one line without an indentation.
inline constexpr int one_line = -1;
std::string output_text(const Context& context, const Result& result, int indentation = 2);

// Prints the result and returns the exit status.
int deliver(const Context& context, const Result& result);

// The text for a value of errno.
std::string errno_text(int error);

}  // namespace kvrnctl
