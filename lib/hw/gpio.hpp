// SPDX-License-Identifier: MIT
// GPIO lines by their packed numbers.
#pragma once

#include <kvrn/observe.h>

#include <cstdint>
#include <optional>

namespace kvrn::gpio {

// Whether a line is active, read as it is; nothing when it cannot be read.
std::optional<bool> read(std::uint32_t line, kvrn_fact fact);

// Drives a line; false when it cannot.
bool write(std::uint32_t line, std::uint32_t value);

}  // namespace kvrn::gpio
