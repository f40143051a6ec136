// SPDX-License-Identifier: MIT
// GPIO lines by their packed numbers.
#pragma once

#include <kvrn/observe.h>

#include <cstdint>
#include <optional>

namespace kvrn::gpio {

// Whether a line is active. The direction of the line does not change. nullopt when the line cannot be read.
std::optional<bool> read(std::uint32_t line, kvrn_fact fact);

// Drives a line; false on failure.
bool write(std::uint32_t line, std::uint32_t value);

}  // namespace kvrn::gpio
