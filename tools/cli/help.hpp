// SPDX-License-Identifier: MIT
#pragma once

#include "tools/cli/command.hpp"

namespace cli {

// For 80 columns.
std::string help(const Command& command);

// Stand at the end of every program's options.
extern const char* const help_names;
extern const char* const version_names;

}  // namespace cli
