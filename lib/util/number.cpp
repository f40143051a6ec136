// SPDX-License-Identifier: MIT
#include "util/number.hpp"

#include <cstddef>
#include <limits>

namespace kvrn {
namespace {

// Sign and magnitude of the number at the start of a text. A magnitude above 64 bits is set to the highest 64-bit
// value.
struct Scanned {
  bool negative;
  std::uint64_t magnitude;
  std::size_t end = 0;  // first character behind the number
};

constexpr int digit_value(char c) {
  if (is_digit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 16;
}

// Base 0: the prefix "0x" means base 16, another leading "0" means base 8, otherwise base 10.
std::optional<Scanned> scan(std::string_view text, unsigned base) {
  constexpr std::uint64_t highest = std::numeric_limits<std::uint64_t>::max();
  std::size_t at = 0;
  while (at < text.size() && is_space(text[at])) ++at;
  Scanned result{false, 0};
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) result.negative = text[at++] == '-';
  bool any = false;
  if (base == 0) {
    base = 10;
    if (at < text.size() && text[at] == '0') {
      base = 8;
      any = true;
      ++at;
      if (at < text.size() && (text[at] == 'x' || text[at] == 'X')) {
        base = 16;
        ++at;
      }
    }
  }
  for (; at < text.size(); ++at) {
    const auto digit = static_cast<unsigned>(digit_value(text[at]));
    if (digit >= base) break;
    any = true;
    // Overflow is not detected by a division: a 64-bit division would add a kilobyte of the compiler's own library on a
    // 32-bit device.
    std::uint64_t& magnitude = result.magnitude;
    if (__builtin_mul_overflow(magnitude, base, &magnitude) || __builtin_add_overflow(magnitude, digit, &magnitude))
      magnitude = highest;
  }
  if (!any) return std::nullopt;
  result.end = at;
  return result;
}

// The signed value of sign and magnitude, clamped to the range of T.
template <typename T>
T clamped(const Scanned& scanned) {
  using Limits = std::numeric_limits<T>;
  const auto positive_limit = static_cast<std::uint64_t>(Limits::max());
  if (!scanned.negative) return scanned.magnitude > positive_limit ? Limits::max() : static_cast<T>(scanned.magnitude);
  if (scanned.magnitude > positive_limit) return Limits::min();
  return static_cast<T>(-static_cast<T>(scanned.magnitude));
}

// A minus sign in front of an unsigned number negates modulo 2^32.
std::uint32_t negated_u32(const Scanned& scanned) {
  const auto value = static_cast<std::uint32_t>(scanned.magnitude);
  return scanned.negative ? 0U - value : value;
}

template <typename T>
bool fits(const Scanned& scanned) {
  const auto positive_limit = static_cast<std::uint64_t>(std::numeric_limits<T>::max());
  const bool lowest = std::numeric_limits<T>::is_signed && scanned.negative && scanned.magnitude == positive_limit + 1;
  return scanned.magnitude <= positive_limit || lowest;
}

template <typename T>
std::optional<T> fitting(std::string_view text, unsigned base) {
  const auto scanned = scan(text, base);
  if (!scanned || !fits<T>(*scanned)) return std::nullopt;
  return clamped<T>(*scanned);
}

}  // namespace

std::optional<std::int32_t> fitting_i32(std::string_view text) { return fitting<std::int32_t>(text, 0); }
std::optional<std::int32_t> fitting_i32_dec(std::string_view text) { return fitting<std::int32_t>(text, 10); }
std::optional<std::int64_t> fitting_i64(std::string_view text) { return fitting<std::int64_t>(text, 0); }
std::optional<std::uint32_t> fitting_u32(std::string_view text) {
  const auto scanned = scan(text, 0);
  if (!scanned || !fits<std::uint32_t>(*scanned)) return std::nullopt;
  return negated_u32(*scanned);
}

std::optional<std::int32_t> parse_d(std::string_view text) {
  const auto scanned = scan(text, 10);
  if (!scanned) return std::nullopt;
  return clamped<std::int32_t>(*scanned);
}

std::optional<std::uint32_t> parse_u(std::string_view text) {
  const auto scanned = scan(text, 10);
  if (!scanned) return std::nullopt;
  if (scanned->magnitude > std::numeric_limits<std::uint32_t>::max()) return std::numeric_limits<std::uint32_t>::max();
  return negated_u32(*scanned);
}

std::optional<std::int64_t> parse_lli(std::string_view text) {
  const auto scanned = scan(text, 0);
  if (!scanned) return std::nullopt;
  return clamped<std::int64_t>(*scanned);
}

std::optional<std::int32_t> take_d(std::string_view& text) {
  const auto scanned = scan(text, 10);
  if (!scanned) return std::nullopt;
  text.remove_prefix(scanned->end);
  return clamped<std::int32_t>(*scanned);
}

std::int32_t truncated_i32(double value) {
  if (value != value) return 0;
  if (value >= 2147483647.0) return std::numeric_limits<std::int32_t>::max();
  if (value <= -2147483648.0) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(value);
}

std::uint64_t truncated_u64(double value) {
  if (!(value >= 1.0)) return 0;
  if (value >= 18446744073709551616.0) return std::numeric_limits<std::uint64_t>::max();
  return static_cast<std::uint64_t>(value);
}

}  // namespace kvrn
