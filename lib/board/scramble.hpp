// SPDX-License-Identifier: MIT
// Names and codes lie scrambled in the table until a row is first handed out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace kvrn {

inline constexpr std::array<std::uint8_t, 4> scramble_key{0x5A, 0x2C, 0x97, 0x3E};

// Its own inverse, up to the first NUL: a text must not hold the key's byte at its place ('Z', ',' and '>').
constexpr void scramble(std::span<char> text) {
  for (std::size_t i = 0; i < text.size() && text[i] != '\0'; ++i)
    text[i] = static_cast<char>(static_cast<std::uint8_t>(text[i]) ^ scramble_key[i % scramble_key.size()]);
}

}  // namespace kvrn
