// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/cfg.h>

#include <cstdint>
#include <optional>

#include "cfg/pattern.hpp"

namespace kvrn {

// The first record whose key equals the pattern; null if none.
const cfg_entry* find_entry(const cfg_entry* cfg, const Pattern& pattern);

// The value of this record; also null when the value was cleared.
const char* find_value(const cfg_entry* cfg, const Pattern& pattern);

// The number that get_int32() returns; nullopt when get_int32() would return its fallback.
std::optional<std::int32_t> find_number(const cfg_entry* cfg, const Pattern& pattern);

// The value as a switch; nullopt without the key, without a value, and for an unknown word.
std::optional<bool> find_switch(const cfg_entry* cfg, const Pattern& pattern);

}  // namespace kvrn
