// SPDX-License-Identifier: MIT
// The hidden pieces against their definitions, and how often keys are compared.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <random>
#include <string>

#include "cfg/key.hpp"
#include "tests/cfg_fixture.hpp"

extern "C" int __real__ZN4kvrn11cfg_key_cmpEPKcS1_(const char* a, const char* b);
static double comparisons = 0;
extern "C" int __wrap__ZN4kvrn11cfg_key_cmpEPKcS1_(const char* a, const char* b);
extern "C" int __wrap__ZN4kvrn11cfg_key_cmpEPKcS1_(const char* a, const char* b) {
  ++comparisons;
  return __real__ZN4kvrn11cfg_key_cmpEPKcS1_(a, b);
}

namespace {

std::mt19937 random_source(20240501);
unsigned below(unsigned limit) { return static_cast<unsigned>(random_source()) % limit; }

// The ranks of a text, each worked out anew.
std::u32string ranks(const std::string& text) {
  const auto digit = [&](size_t i) { return i < text.size() && text[i] >= '0' && text[i] <= '9'; };
  std::u32string result;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool first = digit(i) && (i == 0 || !digit(i - 1));
    if (first)
      while (text[i] == '0' && digit(i + 1)) ++i;
    uint32_t rank = static_cast<unsigned char>(text[i]);
    if (rank >= 'A' && rank <= 'Z') rank += 32;
    if (digit(i)) {
      rank = 0;
      for (size_t j = i; digit(j); ++j) rank = rank * 10 + static_cast<uint32_t>(text[j] - '0');
      rank += 256;
    }
    result += static_cast<char32_t>(rank);
  }
  return result;
}

int sign(int value) { return (value > 0) - (value < 0); }

}  // namespace

TEST(CfgKey, OrderIsThatOfTheRanks) {
  constexpr std::string_view alphabet = "aAbz.019999990\x80";
  for (int round = 0; round < 200000; ++round) {
    std::string a, b;
    for (unsigned i = below(24); i > 0; --i) a += alphabet[below(static_cast<unsigned>(alphabet.size()))];
    b = a;
    for (unsigned i = below(3); i > 0; --i)
      b.insert(below(static_cast<unsigned>(b.size()) + 1), 1, alphabet[below(14)]);
    if (!b.empty() && below(2) == 0) b.erase(below(static_cast<unsigned>(b.size())), 1);
    const int expected = sign(ranks(a).compare(ranks(b)));
    ASSERT_EQ(sign(kvrn::cfg_key_cmp(a.c_str(), b.c_str())), expected) << a << " " << b;
    ASSERT_EQ(kvrn::cfg_key_equal(a.c_str(), b.c_str()), expected == 0) << a << " " << b;
  }
  EXPECT_EQ(sign(kvrn::cfg_key_cmp("a", nullptr)) - sign(kvrn::cfg_key_cmp(nullptr, "a")), 2);
  EXPECT_EQ(kvrn::cfg_key_cmp(nullptr, nullptr), 0);
  const std::string ones(500000, '1');
  EXPECT_EQ(kvrn::cfg_key_cmp(("2" + ones).c_str(), ("3" + ones).c_str()), 0) << "equal modulo 2^32, and not slow";
}

TEST(CfgGrowth, HasNoQuadraticStep) {
  constexpr int n = 20000;
  const double n_log_n = n * std::log2(n);
  std::string before, after;
  for (int i = 0; i < n; ++i) {
    before += "netconf." + std::to_string(below(n)) + ".p" + std::to_string(below(9)) + "=1\n";
    after += "netconf." + std::to_string(below(n)) + ".p" + std::to_string(below(9)) + "=2\n";
  }
  Config a = config(before);
  const Config b = config(after);
  const auto compared = [](auto call) {
    comparisons = 0;
    call();
    return comparisons;
  };
  EXPECT_LE(compared([&] { fix_cfg_idx(a.get(), "netconf.", 1); }), n_log_n + n);
  fix_cfg_idx(b.get(), "netconf.", 1);
  EXPECT_LE(compared([&] { EXPECT_GT(get_cfg_count(ResultList(get_cfg_diff_it(a.get(), b.get())).get()), n / 2); }),
            4 * (n_log_n + n))
      << "two sorts, and a search for each entry of both";
  EXPECT_LE(compared([&] { EXPECT_EQ(get_cfg_idx_by_devname(a.get(), "netconf.", "none"), -1); }), 2 * (n_log_n + n));
  EXPECT_LE(compared([&] { a.reset(sort_cfg(a.release())); }), n_log_n + n);
  EXPECT_EQ(get_cfg_count(a.get()), n);
  EXPECT_EQ(compared([&] { a.reset(sort_cfg(a.release())); }), n - 1) << "is sorted, and not sorted again";
}
