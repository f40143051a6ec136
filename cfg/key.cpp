// SPDX-License-Identifier: MIT
#include "cfg/key.hpp"

#include <array>
#include <cstddef>
#include <cstdint>

#include "util/number.hpp"

namespace kvrn {
namespace {

// 10 to the power of n, modulo 2^32; 0 from 10^32 on.
constexpr auto powers_of_ten = [] {
  std::array<std::uint32_t, 32> powers{};
  std::uint32_t power = 1;
  for (std::size_t n = 0; n < powers.size(); ++n, power *= 10) powers[n] = power;
  return powers;
}();

// A text as the sequence of its ranks, one a character: the lower-case byte, or for a digit 256 plus the number that
// begins at that digit, modulo 2^32. Leading zeros of a number are no part of the sequence. The number of the next
// digit follows from the last one's, so that a long run of digits costs no more than other text.
class Ranks {
 public:
  explicit Ranks(const char* text) : at_(text) { enter(); }

  bool ended() const { return *at_ == '\0'; }
  std::uint32_t rank() const { return digits_ > 0 ? 256 + number_ : lower(*at_); }
  void next() {
    if (digits_ > 0) {
      --digits_;
      if (digits_ < powers_of_ten.size()) number_ -= digit() * powers_of_ten[digits_];
      ++at_;
    } else {
      ++at_;
      enter();
    }
  }

 private:
  std::uint32_t digit() const { return static_cast<std::uint32_t>(*at_ - '0'); }
  void enter() {
    while (*at_ == '0' && is_digit(at_[1])) ++at_;
    number_ = 0;
    const char* start = at_;
    for (; is_digit(*at_); ++at_) number_ = number_ * 10 + digit();
    digits_ = static_cast<std::size_t>(at_ - start);
    at_ = start;
  }

  const char* at_;
  std::size_t digits_ = 0;  // left of the number here
  std::uint32_t number_ = 0;
};

int compare_ranks(Ranks a, Ranks b) {
  for (; !a.ended(); a.next(), b.next()) {
    if (b.ended()) return 1;
    if (a.rank() != b.rank()) return a.rank() < b.rank() ? -1 : 1;
  }
  return b.ended() ? 0 : -1;
}

}  // namespace

int cfg_key_cmp(const char* a, const char* b) {
  if (a == b) return 0;
  if (a == nullptr) return -1;
  if (b == nullptr) return 1;
  // Most keys share a beginning: only where they part can their order be decided, unless a number parts them.
  std::size_t at = 0;
  while (a[at] != '\0' && (a[at] == b[at] || lower(a[at]) == lower(b[at]))) ++at;
  if (!is_digit(a[at]) && !is_digit(b[at])) return static_cast<int>(lower(a[at])) - static_cast<int>(lower(b[at]));
  while (at > 0 && is_digit(a[at - 1])) --at;
  return compare_ranks(Ranks(a + at), Ranks(b + at));
}

}  // namespace kvrn
