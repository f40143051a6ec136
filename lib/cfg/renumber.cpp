// SPDX-License-Identifier: MIT
// Index numbers inside keys.
#include "cfg/renumber.hpp"

#include <stdlib.h>
#include <string.h>

#include <optional>
#include <utility>

#include "cfg/index.hpp"
#include "cfg/list.hpp"
#include "cfg/record.hpp"
#include "util/number.hpp"
#include "util/text.hpp"

namespace kvrn {
namespace {

struct Index {
  std::int32_t number;
  const char* component;  // start of the index in the key
};

// The number at the start of a component, up to the next "."; 0 when there is none.
std::int32_t number_at(const char* component) {
  const std::string_view text(component, ::strcspn(component, "."));
  return fitting_i32(text).value_or(0);
}

std::optional<Index> find_index(const char* key, int n) {
  if (key == nullptr || n < 1) return std::nullopt;
  for (const char* dot = ::strchr(key, '.'); dot != nullptr; dot = ::strchr(dot + 1, '.')) {
    const std::int32_t number = number_at(dot + 1);
    if (number != 0 && --n == 0) return Index{number, dot + 1};
  }
  return std::nullopt;
}

// Replaces the index component with a number. When out of memory the key stays unchanged.
void rename_key(cfg_entry& entry, const Index& index, std::int32_t number) {
  const char* end = ::strchr(index.component, '.');
  if (end == nullptr || number == index.number) return;
  const Text<32> digits("%d", number);
  const std::size_t before = static_cast<std::size_t>(index.component - entry.key);
  const std::size_t room = static_cast<std::size_t>(end - index.component);
  const std::size_t wanted = ::strlen(digits.c_str());
  const std::size_t rest = ::strlen(end) + 1;
  if (wanted > room) {
    auto* grown = static_cast<char*>(::realloc(entry.key, before + wanted + rest));
    if (grown == nullptr) return;
    entry.key = grown;
  }
  char* at = entry.key + before;
  ::memmove(at + wanted, at + room, rest);
  ::memcpy(at, digits.c_str(), wanted);
}

// References to the entries with a prefix, linked in the order of a result list. A result list itself is not enough:
// renaming may move a key, so the entry must be changed.
Heap<KeyNode> entries_under(cfg_entry* cfg, const Pattern& prefix) {
  std::size_t count = 0;
  for (const cfg_entry* entry = cfg; entry != nullptr; entry = entry->next) count += prefix.begins(entry->key) ? 1 : 0;
  if (count == 0) return nullptr;
  Heap<KeyNode> nodes(static_cast<KeyNode*>(::calloc(count, sizeof(KeyNode))));
  if (!nodes) return nullptr;
  KeyNode* first = nodes.get();
  KeyNode* free_node = first;
  for (; cfg != nullptr; cfg = cfg->next) {
    if (!prefix.begins(cfg->key)) continue;
    free_node->record = cfg;
    if (free_node != first) free_node->next = std::exchange(first->next, free_node);
    ++free_node;
  }
  return nodes;
}

void close_gaps(cfg_entry* cfg, const Pattern& prefix, int n) {
  const Heap<KeyNode> nodes = entries_under(cfg, prefix);
  std::int32_t group = 0;
  std::int32_t previous = 0;
  for (const KeyNode* node = sort_by_key(nodes.get()); node != nullptr; node = node->next) {
    const auto index = find_index(node->record->key, n);
    if (!index || index->number < 0) continue;
    if (index->number != previous) ++group;
    previous = index->number;
    rename_key(*node->record, *index, group);
  }
}

}  // namespace

std::int32_t index_number(const char* key, int n) {
  const auto index = find_index(key, n);
  return index ? index->number : -1;
}

}  // namespace kvrn

int32_t get_cfg_key_idx(const char* key, int n) KVRN_DOOR(index_number);

int32_t get_cfg_idx_by_devname(const cfg_entry* cfg, const char* prefix, const char* devname) {
  if (prefix == nullptr || devname == nullptr) return -1;
  const kvrn::List list = kvrn::matching(cfg, false, kvrn::Pattern(std::string_view(prefix)));
  const kvrn::KeyIndex index(list.get());
  for (const cfg_entry* record = list.get(); record != nullptr; record = record->next) {
    const int32_t number = kvrn::index_number(record->key, 1);
    const cfg_entry* found = index.find(kvrn::pattern_of("%s%d.devname", prefix, number).c_str());
    const char* value = found == nullptr ? "" : found->value;
    if (value != nullptr && ::strcmp(value, devname) == 0) return number;
  }
  return -1;
}

void fix_cfg_idx(cfg_entry* cfg, const char* prefix, int n, ...) {
  KVRN_PATTERN(kvrn::Pattern, start, prefix, n);
  kvrn::close_gaps(cfg, start, n);
}
