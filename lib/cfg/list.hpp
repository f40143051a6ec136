// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/cfg.h>

#include <memory>

#include "cfg/pattern.hpp"

namespace kvrn {

// A result list: the texts belong to the configuration.
struct FreeList {
  void operator()(cfg_entry* first) const;
};
using List = std::unique_ptr<cfg_entry, FreeList>;

List matching(const cfg_entry* cfg, bool exact, const Pattern& pattern);

// Keys of prefix + middle + suffix, sorted; the middle is one component, or anything.
enum class Middle : bool { anything, component };
List section(const cfg_entry* cfg, const Pattern& prefix, Middle middle, const char* suffix, const char* value);

}  // namespace kvrn
