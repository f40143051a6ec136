// SPDX-License-Identifier: MIT
#include "cfg/base64.hpp"

namespace kvrn {
namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t no_digit = 64;

std::uint8_t digit_of(char c) {
  const std::size_t at = alphabet.find(c);
  return at == std::string_view::npos ? no_digit : static_cast<std::uint8_t>(at);
}

}  // namespace

bool base64_encode(std::span<const std::uint8_t> bytes, std::span<char> text) {
  if (text.size() < (bytes.size() + 2) / 3 * 4 + 1) return false;
  std::uint32_t bits = 0;
  int pending = 0;
  std::size_t at = 0;
  for (const std::uint8_t byte : bytes) {
    bits = bits << 8 | byte;
    for (pending += 8; pending >= 6; pending -= 6) text[at++] = alphabet[bits >> (pending - 6) & 63];
  }
  if (pending > 0) text[at++] = alphabet[bits << (6 - pending) & 63];
  text[at] = '\0';
  return true;
}

std::optional<std::size_t> base64_decode(std::string_view text, std::span<std::uint8_t> bytes) {
  std::uint32_t bits = 0;
  int pending = 0;
  std::size_t count = 0;
  for (const char c : text) {
    const std::uint8_t digit = digit_of(c);
    if (digit == no_digit) continue;
    bits = bits << 6 | digit;
    pending += 6;
    if (pending < 8) continue;
    if (count == bytes.size()) return std::nullopt;
    pending -= 8;
    bytes[count++] = static_cast<std::uint8_t>(bits >> pending);
  }
  return count;
}

}  // namespace kvrn
