// SPDX-License-Identifier: MIT
// Names and codes are scrambled in the table until a row is returned for the first time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace kvrn {

inline constexpr std::array<std::uint8_t, 4> scramble_key{0x5A, 0x2C, 0x97, 0x3E};

// Scrambles and unscrambles a text up to its first NUL. A character must not equal the key's byte at its position ('Z',
// ',' or '>'): its scrambled form would be NUL.
constexpr void scramble(std::span<char> text) {
  for (std::size_t i = 0; i < text.size() && text[i] != '\0'; ++i)
    text[i] = static_cast<char>(static_cast<std::uint8_t>(text[i]) ^ scramble_key[i % scramble_key.size()]);
}

}  // namespace kvrn
