// SPDX-License-Identifier: MIT
#include "cfg/index.hpp"

#include <stdlib.h>

#include <algorithm>

#include "cfg/key.hpp"
#include "cfg/record.hpp"
#include "cfg/sort.hpp"

namespace kvrn {

KeyNode* sort_by_key(KeyNode* first) {
  return sort_chain(first,
                    [](const KeyNode& a, const KeyNode& b) { return cfg_key_cmp(a.record->key, b.record->key) < 0; });
}

KeyIndex::KeyIndex(const cfg_entry* chain) : chain_(chain), count_(count_of(chain)) {
  const Heap<KeyNode> nodes(static_cast<KeyNode*>(::calloc(count_, sizeof(KeyNode))));
  sorted_.reset(static_cast<const cfg_entry**>(::calloc(count_, sizeof(const cfg_entry*))));
  if (count_ == 0 || !nodes || !sorted_) {
    sorted_.reset();
    return;
  }
  std::size_t at = 0;
  for (; chain != nullptr; chain = chain->next, ++at)
    nodes.get()[at] = {const_cast<cfg_entry*>(chain), chain->next == nullptr ? nullptr : nodes.get() + at + 1};
  at = 0;
  for (const KeyNode* node = sort_by_key(nodes.get()); node != nullptr; node = node->next)
    sorted_.get()[at++] = node->record;
}

const cfg_entry* KeyIndex::find(const char* key) const {
  if (!sorted_) {
    const cfg_entry* record = chain_;
    while (record != nullptr && cfg_key_cmp(record->key, key) != 0) record = record->next;
    return record;
  }
  const cfg_entry* const* end = sorted_.get() + count_;
  const auto before = [](const cfg_entry* record, const char* text) { return cfg_key_cmp(record->key, text) < 0; };
  const auto* found = std::lower_bound<const cfg_entry* const*>(sorted_.get(), end, key, before);
  return found != end && cfg_key_cmp((*found)->key, key) == 0 ? *found : nullptr;
}

}  // namespace kvrn
