// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/cfg.h>

#include <cstdint>
#include <optional>

#include "cfg/pattern.hpp"

namespace kvrn {

// The first record whose key equals the pattern; null if none.
const cfg_entry* find_entry(const cfg_entry* cfg, const Pattern& pattern);

// Its value; null also when it was cleared.
const char* find_value(const cfg_entry* cfg, const Pattern& pattern);

// What get_int32() reads; nullopt where it returns its fallback.
std::optional<std::int32_t> find_number(const cfg_entry* cfg, const Pattern& pattern);

// What a switch says; nullopt without the key, without a value and for a word that is none of the known.
std::optional<bool> find_switch(const cfg_entry* cfg, const Pattern& pattern);

}  // namespace kvrn
