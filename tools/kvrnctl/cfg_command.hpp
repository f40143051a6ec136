// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tools/kvrnctl/cfg_file.hpp"
#include "tools/kvrnctl/command.hpp"

namespace kvrnctl {

struct CfgOptions {
  std::string path = "/tmp/system.cfg";
  bool reveal = false;
  bool dry_run = false;
  bool backup = false;
  bool force = false;
};

// A value for the output. Passwords are hidden unless `reveal` is set.
std::string shown(std::string_view key, const char* value, bool reveal);

// Refuses a key that the library would cut in a lookup: it could then read or change another entry.
void check_key_length(const std::string& key);

// Wraps an action: a CfgError becomes a failed result.
Action guarded(std::function<Result(const Context&)> action);

// Adds a command with the options that every cfg command has.
cli::Command& add_cfg(cli::Command& parent, const char* name, const char* description, CfgOptions& options);
void add_cfg_edit_commands(CommandLine& line, cli::Command& cfg, const std::shared_ptr<CfgOptions>& options);

}  // namespace kvrnctl
