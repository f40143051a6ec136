// SPDX-License-Identifier: MIT
// Base64 without padding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace kvrn {

// Writes the terminated text of the bytes; false when the room is below what padded groups and the end would take.
bool base64_encode(std::span<const std::uint8_t> bytes, std::span<char> text);

// Decodes into the bytes and returns how many there are; nullopt when they do not fit. Characters outside the alphabet
// are skipped, and left-over bits dropped.
std::optional<std::size_t> base64_decode(std::string_view text, std::span<std::uint8_t> bytes);

}  // namespace kvrn
