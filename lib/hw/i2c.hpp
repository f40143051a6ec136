// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "util/handle.hpp"

namespace kvrn::i2c {

// Opens a device on a bus. On failure there is no descriptor, and errno is set.
Fd open(int bus, std::uint32_t address);

// Reads a register of the device. When the device does not answer, the result is nullopt, and errno is set.
std::optional<std::uint8_t> read_byte(const Fd& device, std::uint32_t reg);

}  // namespace kvrn::i2c
