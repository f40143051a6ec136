// SPDX-License-Identifier: MIT
// What the services' command lines have in common.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace service {

// A check of an option with a number: CLI11 would take "nan" and "inf" for one, and no range refuses the first.
inline std::string plain_number(const std::string& text) {
  return text.find_first_not_of("0123456789.") == std::string::npos ? "" : "not a plain number";
}

// @return the status to end with, after help, version or wrong usage; nothing when the program goes on
inline std::optional<int> parse(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  return std::nullopt;
}

}  // namespace service
