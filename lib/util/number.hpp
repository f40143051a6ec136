// SPDX-License-Identifier: MIT
// Integer arithmetic with the results of the 32-bit target, on every host and without undefined behaviour. Also reads
// integers from texts as the C library of the target does.
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
// The low 32 bits of the product and of the sum of two 32-bit numbers.
constexpr std::int32_t mul_i32(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}
constexpr std::int32_t add_i32(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

constexpr bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

// The number at the start of a text: leading white space, a sign, then the digits ("12abc" is 12). nullopt when there
// is no number. A value outside the range is clamped. parse_d ("%d") has the signed 32-bit range. parse_u ("%u") is
// clamped to 4294967295, and a minus sign negates modulo 2^32. parse_lli ("%lli") has the signed 64-bit range and the
// base prefixes "0x" and "0".
std::optional<std::int32_t> parse_d(std::string_view text);
std::optional<std::uint32_t> parse_u(std::string_view text);
std::optional<std::int64_t> parse_lli(std::string_view text);

// Like parse_d(), but also removes the number from the text, so that the next call reads the next number. Without a
// number the text stays unchanged.
std::optional<std::int32_t> take_d(std::string_view& text);

// Removes the fraction of a number. A value outside the range is clamped, and not-a-number becomes 0.
std::int32_t truncated_i32(double value);
std::uint64_t truncated_u64(double value);

// Like parse_d(), but with the base prefixes "0x" and "0" (except _dec), and with nullopt for a value outside the
// range. An unsigned value is outside the range when its magnitude is.
std::optional<std::int32_t> fitting_i32(std::string_view text);
std::optional<std::int32_t> fitting_i32_dec(std::string_view text);
std::optional<std::uint32_t> fitting_u32(std::string_view text);
std::optional<std::int64_t> fitting_i64(std::string_view text);

}  // namespace kvrn
