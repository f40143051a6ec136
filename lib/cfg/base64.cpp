// SPDX-License-Identifier: MIT
#include "cfg/base64.hpp"

#include <array>

namespace kvrn {
namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t no_digit = 64;

// The digits from '+' to 'z': a search in the alphabet would take most of the time of opening an entry.
constexpr auto digits = [] {
  std::array<std::uint8_t, 'z' - '+' + 1> table{};
  table.fill(no_digit);
  for (std::size_t at = 0; at < alphabet.size(); ++at) table[alphabet[at] - '+'] = static_cast<std::uint8_t>(at);
  return table;
}();

std::uint8_t digit_of(char c) {
  const auto at = static_cast<unsigned char>(c - '+');
  return at < digits.size() ? digits[at] : no_digit;
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
