// SPDX-License-Identifier: MIT
#include "cfg/key.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "util/number.hpp"

namespace kvrn {
namespace {

// 10 to the power of n, modulo 2^32. The result is 0 from 10^32 on.
constexpr auto powers_of_ten = [] {
  std::array<std::uint32_t, 32> powers{};
  std::uint32_t power = 1;
  for (std::size_t n = 0; n < powers.size(); ++n, power *= 10) powers[n] = power;
  return powers;
}();

// Reads a text as a sequence of ranks, one for each character. The rank of a digit is 256 plus the number that begins
// at this digit, modulo 2^32. The rank of any other character is its lower-case byte. Leading zeros of a number have no
// rank. The number at the next digit is computed from the number at this one, so a long run of digits costs no more
// than other text.
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
  std::size_t digits_ = 0;  // remaining digits of the current number
  std::uint32_t number_ = 0;
};

// A separate function, so that the common comparison needs few registers.
[[gnu::noinline]] int compare_ranks(const char* a_text, const char* b_text) {
  Ranks a(a_text);
  Ranks b(b_text);
  for (; !a.ended(); a.next(), b.next()) {
    if (b.ended()) return 1;
    if (a.rank() != b.rank()) return a.rank() < b.rank() ? -1 : 1;
  }
  return b.ended() ? 0 : -1;
}

std::size_t digits_at(const char* text) {
  std::size_t count = 0;
  while (is_digit(text[count])) ++count;
  return count;
}

// Whether two numbers are below 10^9 and have no leading zeros. Then they are equal when their digits are equal, and
// the longer number is greater.
constexpr bool is_plain(char a, char b, std::size_t digits) { return digits < 10 && a != '0' && b != '0'; }

// Compares two texts that differ at `at`, but are equal before it, apart from the case of letters.
[[gnu::noinline]] int compare_from(const char* a, const char* b, std::size_t at) {
  const int order = static_cast<int>(lower(a[at])) - static_cast<int>(lower(b[at]));
  if (!is_digit(a[at]) && !is_digit(b[at])) return order;
  const std::size_t a_digits = digits_at(a + at);
  const std::size_t b_digits = digits_at(b + at);
  std::size_t start = at;
  while (start > 0 && is_digit(a[start - 1])) --start;
  if (!is_plain(a[start], b[start], at - start + std::max(a_digits, b_digits)))
    return compare_ranks(a + start, b + start);
  if (a_digits != b_digits) return a_digits < b_digits ? -1 : 1;
  return order;
}

// Where two texts begin to differ, apart from the case of letters; at the end of both when they do not.
[[gnu::always_inline]] inline std::size_t parting(const char* a, const char* b) {
  std::size_t at = 0;
  while (a[at] == b[at] ? a[at] != '\0' : lower(a[at]) == lower(b[at])) ++at;
  return at;
}

// A look-up compares every key before the one that it finds. Most of them differ in a letter.
[[gnu::always_inline]] inline bool is_equal(const char* key, const char* wanted) {
  if (key == nullptr) return false;
  const std::size_t at = parting(key, wanted);
  if (key[at] == wanted[at]) return true;
  return (is_digit(key[at]) || is_digit(wanted[at])) && compare_from(key, wanted, at) == 0;
}

}  // namespace

int cfg_key_cmp(const char* a, const char* b) {
  if (a == b) return 0;
  if (a == nullptr) return -1;
  if (b == nullptr) return 1;
  return compare_from(a, b, parting(a, b));
}

bool cfg_key_equal(const char* key, const char* wanted) { return is_equal(key, wanted); }

const cfg_entry* find_key(const cfg_entry* chain, const char* wanted) {
  while (chain != nullptr && !is_equal(chain->key, wanted)) chain = chain->next;
  return chain;
}

}  // namespace kvrn
