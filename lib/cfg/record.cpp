// SPDX-License-Identifier: MIT
#include "cfg/record.hpp"

#include <stdlib.h>
#include <string.h>

#include <utility>

#include "util/handle.hpp"

namespace kvrn {

char* copy_text(std::string_view text) {
  auto* copy = static_cast<char*>(::malloc(text.size() + 1));
  if (copy == nullptr) return nullptr;
  if (!text.empty()) ::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

cfg_entry* new_record(char* key, char* value) {
  auto* record = static_cast<cfg_entry*>(::malloc(sizeof(cfg_entry)));
  if (record != nullptr) *record = cfg_entry{key, value, nullptr, nullptr};
  return record;
}

cfg_entry* new_entry(std::string_view key, std::string_view value) {
  Heap<char> key_copy(copy_text(key));
  Heap<char> value_copy(copy_text(value));
  if (!key_copy || !value_copy) return nullptr;
  cfg_entry* entry = new_record(key_copy.get(), value_copy.get());
  if (entry == nullptr) return nullptr;
  (void)key_copy.release();
  (void)value_copy.release();
  return entry;
}

void drop_escaped(cfg_entry& record) {
  if (record.escaped != record.value) ::free(record.escaped);
  record.escaped = nullptr;
}

void free_record(cfg_entry* record) {
  drop_escaped(*record);
  ::free(record);
}

void free_entry(cfg_entry* entry) {
  drop_escaped(*entry);
  ::free(entry->key);
  ::free(entry->value);
  ::free(entry);
}

void FreeConfig::operator()(cfg_entry* first) const {
  while (first != nullptr) free_entry(std::exchange(first, first->next));
}

cfg_entry* last_of(cfg_entry* first) {
  if (first == nullptr) return nullptr;
  while (first->next != nullptr) first = first->next;
  return first;
}

std::size_t count_of(const cfg_entry* first) {
  std::size_t count = 0;
  for (; first != nullptr; first = first->next) ++count;
  return count;
}

}  // namespace kvrn

void free_cfg(cfg_entry* cfg) { const kvrn::Config owned(cfg); }

int get_cfg_count(const cfg_entry* first) { return static_cast<int>(kvrn::count_of(first)); }
