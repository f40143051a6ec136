// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "util/handle.hpp"

namespace kvrn::i2c {

// A device on a bus; no descriptor, and errno, when it cannot be opened or addressed.
Fd open(int bus, std::uint32_t address);

// A register of it; nothing, and errno, when it does not answer.
std::optional<std::uint8_t> read_byte(const Fd& device, std::uint32_t reg);

}  // namespace kvrn::i2c
