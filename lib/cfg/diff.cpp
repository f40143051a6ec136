// SPDX-License-Identifier: MIT
#include <string.h>

#include "cfg/index.hpp"
#include "cfg/pattern.hpp"
#include "cfg/record.hpp"

namespace kvrn {
namespace {

// A different comment is not a change.
bool is_compared(const char* key) {
  if (key == nullptr) return false;
  const char* dot = ::strrchr(key, '.');
  return dot == nullptr || ::strcmp(dot + 1, "comment") != 0;
}

// The record with which an entry of the other configuration is compared.
const cfg_entry* counterpart(const KeyIndex& index, const cfg_entry& entry) {
  return index.find(Pattern(std::string_view(entry.key)).c_str());
}

bool same_value(const cfg_entry* a, const cfg_entry& b) {
  return a != nullptr && a->value != nullptr && b.value != nullptr && ::strcmp(a->value, b.value) == 0;
}

void push(cfg_entry*& list, char* key, char* value) {
  cfg_entry* record = new_record(key, value);
  if (record == nullptr) return;
  record->next = list;
  list = record;
}

}  // namespace
}  // namespace kvrn

cfg_entry* get_cfg_diff_it(const cfg_entry* old, const cfg_entry* changed) {
  const kvrn::KeyIndex in_old(old);
  const kvrn::KeyIndex in_changed(changed);
  cfg_entry* list = nullptr;
  for (const cfg_entry* entry = changed; entry != nullptr; entry = entry->next)
    if (kvrn::is_compared(entry->key) && !kvrn::same_value(kvrn::counterpart(in_old, *entry), *entry))
      kvrn::push(list, entry->key, entry->value);
  for (const cfg_entry* entry = old; entry != nullptr; entry = entry->next)
    if (kvrn::is_compared(entry->key) && kvrn::counterpart(in_changed, *entry) == nullptr)
      kvrn::push(list, entry->key, nullptr);
  return list;
}
