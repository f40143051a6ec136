// SPDX-License-Identifier: MIT
#include "cfg/query.hpp"

#include <algorithm>
#include <array>

#include "cfg/escape.hpp"
#include "cfg/record.hpp"
#include "cfg/trim.hpp"
#include "util/number.hpp"

namespace kvrn {
namespace {

constexpr std::array<std::string_view, 6> on_words{"on", "enabled", "1", "enable", "active", "true"};
constexpr std::array<std::string_view, 6> off_words{"off", "disabled", "0", "disable", "inactive", "false"};

bool any_of(const std::array<std::string_view, 6>& words, std::string_view text) {
  const auto same = [](char a, char b) { return lower(a) == lower(b); };
  for (const std::string_view word : words)
    if (std::equal(text.begin(), text.end(), word.begin(), word.end(), same)) return true;
  return false;
}

template <typename T>
std::optional<T> converted(const cfg_entry* cfg, const Pattern& pattern,
                           std::optional<T> (*convert)(std::string_view)) {
  const char* value = find_value(cfg, pattern);
  return value == nullptr ? std::nullopt : convert(value);
}

}  // namespace

const cfg_entry* find_entry(const cfg_entry* cfg, const Pattern& pattern) {
  return pattern.valid() ? find_key(cfg, pattern.c_str()) : nullptr;
}

const char* find_value(const cfg_entry* cfg, const Pattern& pattern) {
  const cfg_entry* entry = find_entry(cfg, pattern);
  return entry == nullptr ? nullptr : entry->value;
}

std::optional<std::int32_t> find_number(const cfg_entry* cfg, const Pattern& pattern) {
  return converted(cfg, pattern, fitting_i32);
}

std::optional<bool> find_switch(const cfg_entry* cfg, const Pattern& pattern) {
  const std::string_view word = trimmed(text_of(find_value(cfg, pattern)), true);
  if (any_of(on_words, word)) return true;
  if (any_of(off_words, word)) return false;
  return std::nullopt;
}

}  // namespace kvrn

using kvrn::Pattern;

const char* get_value(const cfg_entry* cfg, const char* fallback, const char* pattern, ...) {
  KVRN_PATTERN(Pattern, key, pattern, pattern);
  const cfg_entry* entry = kvrn::find_entry(cfg, key);
  return entry == nullptr ? fallback : entry->value;
}

const char* get_esc_value(cfg_entry* cfg, const char* fallback, const char* pattern, ...) {
  KVRN_PATTERN(Pattern, key, pattern, pattern);
  const cfg_entry* entry = kvrn::find_entry(cfg, key);
  return entry == nullptr ? fallback : kvrn::escaped(const_cast<cfg_entry*>(entry));
}

int32_t get_int32(const cfg_entry* cfg, int32_t fallback, const char* pattern, ...) {
  KVRN_PATTERN(Pattern, key, pattern, pattern);
  return kvrn::find_number(cfg, key).value_or(fallback);
}

uint32_t get_uint32(const cfg_entry* cfg, uint32_t fallback, const char* pattern, ...) {
  KVRN_PATTERN(Pattern, key, pattern, pattern);
  return kvrn::converted(cfg, key, kvrn::fitting_u32).value_or(fallback);
}

int32_t get_int32_dec(const cfg_entry* cfg, int32_t fallback, const char* pattern, ...) {
  KVRN_PATTERN(Pattern, key, pattern, pattern);
  return kvrn::converted(cfg, key, kvrn::fitting_i32_dec).value_or(fallback);
}

int64_t get_int64(const cfg_entry* cfg, int64_t fallback, const char* pattern, ...) {
  KVRN_PATTERN(Pattern, key, pattern, pattern);
  return kvrn::converted(cfg, key, kvrn::fitting_i64).value_or(fallback);
}

int get_bool(const cfg_entry* cfg, int fallback, const char* pattern, ...) {
  KVRN_PATTERN(Pattern, key, pattern, pattern);
  const auto on = kvrn::find_switch(cfg, key);
  return on ? int{*on} : fallback;
}
