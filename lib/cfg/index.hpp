// SPDX-License-Identifier: MIT
// The records of a chain in key order, for code that would otherwise compare each key with every other key.
#pragma once

#include <kvrn/cfg.h>

#include <cstddef>

#include "util/handle.hpp"

namespace kvrn {

// A reference to a record. The references are linked for sorting.
struct KeyNode {
  cfg_entry* record;
  KeyNode* next;
};

// Sorts linked nodes by the keys of their records. Equal keys keep their order.
KeyNode* sort_by_key(KeyNode* first);

// Looks up keys in a chain. When there is no memory for the index, every look-up searches the chain.
class KeyIndex {
 public:
  explicit KeyIndex(const cfg_entry* chain);

  // The first record in the chain whose key equals `key`; null if none.
  const cfg_entry* find(const char* key) const;

 private:
  const cfg_entry* chain_;
  std::size_t count_;
  Heap<const cfg_entry*> sorted_;
};

}  // namespace kvrn
