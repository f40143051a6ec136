// SPDX-License-Identifier: MIT
// Base64 without padding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace kvrn {

// Writes the text of the bytes with a terminator. False when the room is smaller than the text would need with padding
// and terminator.
bool base64_encode(std::span<const std::uint8_t> bytes, std::span<char> text);

// Decodes a text into the bytes and returns their number; nullopt when they do not fit. Characters outside the alphabet
// are skipped. Bits at the end that do not fill a byte are dropped.
std::optional<std::size_t> base64_decode(std::string_view text, std::span<std::uint8_t> bytes);

}  // namespace kvrn
