// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/cfg.h>

#include <memory>

#include "cfg/pattern.hpp"

namespace kvrn {

// A result list. Its texts belong to the configuration.
struct FreeList {
  void operator()(cfg_entry* first) const;
};
using List = std::unique_ptr<cfg_entry, FreeList>;

List matching(const cfg_entry* cfg, bool exact, const Pattern& pattern);

// The entries whose key is prefix + middle + suffix, sorted by key. The middle is one component, or any text.
enum class Middle : bool { anything, component };
List section(const cfg_entry* cfg, const Pattern& prefix, Middle middle, const char* suffix, const char* value);

}  // namespace kvrn
