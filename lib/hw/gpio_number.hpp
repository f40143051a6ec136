// SPDX-License-Identifier: MIT
// Packed GPIO numbers: chip index * 100 + line offset.
#pragma once

#include <array>
#include <cstdint>

namespace kvrn {

inline constexpr std::array<const char*, 3> gpio_chips{
    "/dev/gpiochip/by-label/18040000.gpio",  // the SoC's own lines
    "/dev/gpiochip/by-label/1-0075",         // expander on bus 1
    "/dev/gpiochip/by-label/7-0076",         // expander on bus 7
};

constexpr std::uint32_t gpio_packed(std::uint32_t chip, std::uint32_t offset) { return chip * 100 + offset; }
constexpr std::uint32_t gpio_chip_index(std::uint32_t number) { return number / 100; }
constexpr std::uint32_t gpio_offset(std::uint32_t number) { return number % 100; }

}  // namespace kvrn
