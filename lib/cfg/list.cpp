// SPDX-License-Identifier: MIT
#include "cfg/list.hpp"

#include <string.h>

#include <utility>

#include "cfg/record.hpp"
#include "cfg/sort.hpp"

namespace kvrn {
namespace {

bool in_section(const cfg_entry& record, std::size_t prefix, Middle middle, std::string_view suffix) {
  const std::size_t length = ::strlen(record.key);
  if (length <= prefix + suffix.size()) return false;
  const char* rest = record.key + length - suffix.size();
  if (middle == Middle::component) rest = ::strchr(record.key + prefix + 1, '.');
  return rest != nullptr && cfg_key_cmp(rest, suffix.data()) == 0;
}

bool has_value(const cfg_entry& record, const char* value) {
  return record.value != nullptr && ::strcmp(record.value, value) == 0;
}

// Sorts the records by key. Only the links change.
cfg_entry* sorted(cfg_entry* first) {
  return sort_chain(first, [](const cfg_entry& a, const cfg_entry& b) { return cfg_key_cmp(a.key, b.key) < 0; });
}

}  // namespace

void FreeList::operator()(cfg_entry* first) const {
  while (first != nullptr) free_record(std::exchange(first, first->next));
}

List matching(const cfg_entry* cfg, bool exact, const Pattern& pattern) {
  Chain chain;
  for (; cfg != nullptr; cfg = cfg->next) {
    if (!pattern.matches(cfg->key, exact)) continue;
    if (cfg_entry* record = new_record(cfg->key, cfg->value)) chain.add(record);
  }
  return List(chain.first());
}

List section(const cfg_entry* cfg, const Pattern& prefix, Middle middle, const char* suffix, const char* value) {
  if (suffix == nullptr) suffix = "";
  List list = matching(cfg, false, prefix);
  cfg_entry* first = list.release();
  for (cfg_entry** link = &first; *link != nullptr;) {
    cfg_entry* record = *link;
    if (in_section(*record, prefix.size(), middle, suffix) && (value == nullptr || has_value(*record, value))) {
      link = &record->next;
    } else {
      *link = record->next;
      free_record(record);
    }
  }
  return List(sorted(first));
}

}  // namespace kvrn

using kvrn::Pattern;

cfg_entry* get_cfg_it(const cfg_entry* cfg, int exact, const char* pattern, ...) {
  KVRN_PATTERN(Pattern, key, pattern, pattern);
  return kvrn::matching(cfg, exact != 0, key).release();
}

cfg_entry* get_cfg_any_section(const cfg_entry* cfg, const char* suffix, int mode, const char* value,
                               const char* prefix, ...) {
  KVRN_PATTERN(Pattern, start, prefix, prefix);
  const auto middle = mode == 1 ? kvrn::Middle::component : kvrn::Middle::anything;
  return kvrn::section(cfg, start, middle, suffix, value).release();
}

cfg_entry* get_cfg_section(const cfg_entry* cfg, const char* suffix, const char* value, const char* prefix, ...) {
  KVRN_PATTERN(Pattern, start, prefix, prefix);
  return kvrn::section(cfg, start, kvrn::Middle::component, suffix, value).release();
}

cfg_entry* sort_cfg(cfg_entry* first) { return kvrn::sorted(first); }

void free_cfg_it(cfg_entry* first) { const kvrn::List owned(first); }

void free_cfg_it_member(cfg_entry** first, cfg_entry* record) {
  if (first == nullptr || record == nullptr) return;
  for (cfg_entry** link = first; *link != nullptr; link = &(*link)->next) {
    if (*link != record) continue;
    *link = record->next;
    kvrn::free_record(record);
    return;
  }
}

int exist_cfg_it(const cfg_entry* cfg, int exact, const char* pattern, ...) {
  KVRN_PATTERN(Pattern, key, pattern, pattern);
  for (; cfg != nullptr; cfg = cfg->next)
    if (key.matches(cfg->key, exact != 0)) return 1;
  return 0;
}
