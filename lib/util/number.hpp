// SPDX-License-Identifier: MIT
// Integers as the 32-bit target computes them, on every host and without undefined behaviour, and integer texts as its
// C library reads them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace kvrn {

// Two's complement wrap-around.
constexpr std::int32_t wrap_i32(std::int64_t value) {
  return static_cast<std::int32_t>(static_cast<std::uint64_t>(value));
}
constexpr std::int16_t wrap_i16(std::int64_t value) {
  return static_cast<std::int16_t>(static_cast<std::uint64_t>(value));
}
constexpr std::int8_t wrap_i8(std::int64_t value) {
  return static_cast<std::int8_t>(static_cast<std::uint64_t>(value));
}
constexpr std::int64_t wrap_add(std::int64_t a, std::int64_t b) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}
// The product and the sum of two 32-bit numbers, low 32 bits.
constexpr std::int32_t mul_i32(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}
constexpr std::int32_t add_i32(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

constexpr bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

// The number at the start of a text: leading white space, a sign, then the digits ("12abc" is 12). nullopt when there
// is none. A value outside the range clamps: "%d" to the signed 32-bit range; "%u" to 4294967295, a minus sign negating
// modulo 2^32; "%lli" to the signed 64-bit range, with "0x" and "0" as base prefixes.
std::optional<std::int32_t> parse_d(std::string_view text);
std::optional<std::uint32_t> parse_u(std::string_view text);
std::optional<std::int64_t> parse_lli(std::string_view text);

// As parse_d(), and cuts what was read off the text: the next call reads the next number. The text is left alone when
// there is none.
std::optional<std::int32_t> take_d(std::string_view& text);

// A number without its fraction; what is outside the range clamps, and not-a-number is 0.
std::int32_t truncated_i32(double value);
std::uint64_t truncated_u64(double value);

// The same, with "0x" and "0" as base prefixes unless decimal, for callers that refuse a value outside the range:
// nullopt. An unsigned one is outside when its magnitude is.
std::optional<std::int32_t> fitting_i32(std::string_view text);
std::optional<std::int32_t> fitting_i32_dec(std::string_view text);
std::optional<std::uint32_t> fitting_u32(std::string_view text);
std::optional<std::int64_t> fitting_i64(std::string_view text);

}  // namespace kvrn
