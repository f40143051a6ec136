// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace kvrn {

// string_view::starts_with() calls substr(), which needs the C++ run time.
constexpr bool has_prefix(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && std::string_view(text.data(), prefix.size()) == prefix;
}

}  // namespace kvrn
