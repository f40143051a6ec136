// SPDX-License-Identifier: MIT
// A chain's records in key order, for work that would otherwise compare every key with every other.
#pragma once

#include <kvrn/cfg.h>

#include <cstddef>

#include "util/handle.hpp"

namespace kvrn {

// A reference to a record, linked for sorting.
struct KeyNode {
  cfg_entry* record;
  KeyNode* next;
};

// Stable sort of linked nodes by the records' keys.
KeyNode* sort_by_key(KeyNode* first);

// Looks keys up in a chain. Without memory for the index every look-up walks the chain.
class KeyIndex {
 public:
  explicit KeyIndex(const cfg_entry* chain);

  // The first record of the chain whose key equals this one; null if none.
  const cfg_entry* find(const char* key) const;

 private:
  const cfg_entry* chain_;
  std::size_t count_;
  Heap<const cfg_entry*> sorted_;
};

}  // namespace kvrn
