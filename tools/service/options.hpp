// SPDX-License-Identifier: MIT
// What the services' command lines have in common.
#pragma once

#include <string>

namespace service {

// A check of an option with a number: CLI11 would take "nan" and "inf" for one, and no range refuses the first.
inline std::string plain_number(const std::string& text) {
  return text.find_first_not_of("0123456789.") == std::string::npos ? "" : "not a plain number";
}

}  // namespace service
