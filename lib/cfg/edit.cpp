// SPDX-License-Identifier: MIT
#include <stdlib.h>

#include <utility>

#include "cfg/pattern.hpp"
#include "cfg/record.hpp"
#include "cfg/trim.hpp"
#include "util/handle.hpp"
#include "util/text.hpp"

namespace kvrn {
namespace {

enum Updated : int { cleared = -1, changed = 0, not_found = 1 };

void replace_value(cfg_entry& entry, char* value) {
  drop_escaped(entry);
  ::free(std::exchange(entry.value, value));
}

// The new value may be a text of the configuration, so it is copied before anything is freed.
Updated set_value(cfg_entry* cfg, std::string_view value, const Pattern& pattern) {
  const Heap<char> wanted(copy_text(trimmed(value, false)));
  if (!wanted) return cleared;
  Updated result = not_found;
  for (cfg_entry* entry = cfg; entry != nullptr; entry = entry->next) {
    if (!pattern.equals(entry->key)) continue;
    char* copy = copy_text(wanted.get());
    if (copy != nullptr) replace_value(*entry, copy);
    result = copy != nullptr ? changed : cleared;
  }
  if (result == not_found && cfg != nullptr && pattern.valid())
    last_of(cfg)->next = new_entry(trimmed(pattern.c_str(), true), wanted.get());
  return result;
}

Updated clear_value(cfg_entry* cfg, const Pattern& pattern) {
  Updated result = not_found;
  for (; cfg != nullptr; cfg = cfg->next) {
    if (cfg->value == nullptr || !pattern.equals(cfg->key)) continue;
    replace_value(*cfg, nullptr);
    result = cleared;
  }
  return result;
}

// Formats a text of any length; null when out of memory or when it cannot be formatted.
__attribute__((format(printf, 1, 0))) Heap<char> format_text(const char* format, va_list args) {
  char* text = nullptr;
  if (format == nullptr || ::vasprintf(&text, format, args) < 0) return nullptr;
  return Heap<char>(text);
}

int append(cfg_entry* cfg, const char* key, const char* value) {
  if (key == nullptr || value == nullptr) return -1;
  if (cfg == nullptr) return 0;
  cfg_entry* tail = last_of(cfg);
  tail->next = new_entry(key, value);
  if (tail->next == nullptr) return -1;
  // The former tail is trimmed, not the new entry. The entry that was added last therefore keeps its blanks until the
  // next one is added.
  cfg_trim(tail->key, true);
  cfg_trim(tail->value, false);
  return 0;
}

int delete_entries(cfg_entry*& first, bool exact, const PatternOf<257>& pattern) {
  int deleted = 0;
  for (cfg_entry** link = &first; *link != nullptr;) {
    cfg_entry* entry = *link;
    if (!pattern.matches(entry->key, exact)) {
      link = &entry->next;
      continue;
    }
    *link = entry->next;
    free_entry(entry);
    ++deleted;
  }
  return deleted;
}

}  // namespace
}  // namespace kvrn

int update_value(cfg_entry* cfg, const char* value, const char* pattern, ...) {
  KVRN_PATTERN(kvrn::Pattern, key, pattern, pattern);
  return value == nullptr ? kvrn::clear_value(cfg, key) : kvrn::set_value(cfg, value, key);
}

int add_str_value(cfg_entry* cfg, const char* value, const char* pattern, ...) {
  va_list args;
  va_start(args, pattern);
  const kvrn::Heap<char> key = kvrn::format_text(pattern, args);
  va_end(args);
  return kvrn::append(cfg, key.get(), value);
}

int add_int_value(cfg_entry* cfg, int value, const char* pattern, ...) {
  va_list args;
  va_start(args, pattern);
  const kvrn::Heap<char> key = kvrn::format_text(pattern, args);
  va_end(args);
  return kvrn::append(cfg, key.get(), kvrn::Text<32>("%d", value).c_str());
}

int cfg_del_key(cfg_entry** cfg, int exact, const char* pattern, ...) {
  if (cfg == nullptr) return 0;
  KVRN_PATTERN(kvrn::PatternOf<257>, key, pattern, pattern);
  return kvrn::delete_entries(*cfg, exact != 0, key);
}
