// SPDX-License-Identifier: MIT
// Records and their texts. Callers free keys, values and records one by one, so each of them is a separate block.
#pragma once

#include <kvrn/cfg.h>

#include <cstddef>
#include <memory>
#include <string_view>

namespace kvrn {

// A terminated copy, to be freed with free(); null when out of memory.
char* copy_text(std::string_view text);

// A record that points to the given texts; null when out of memory.
cfg_entry* new_record(char* key, char* value);

// A record that owns copies of both texts; null when out of memory.
cfg_entry* new_entry(std::string_view key, std::string_view value);

// Frees the escaped copy, unless it is the value itself, and clears its pointer.
void drop_escaped(cfg_entry& record);

void free_record(cfg_entry* record);  // a record of a result list: the texts are not freed
void free_entry(cfg_entry* entry);    // an entry of a configuration: the texts are freed too

// A configuration. It owns its entries.
struct FreeConfig {
  void operator()(cfg_entry* first) const;
};
using Config = std::unique_ptr<cfg_entry, FreeConfig>;

// The order of a chain from parsing or searching: the first record is the head, and each later record goes directly
// behind the head. All code that lists or saves a configuration shows this order, and programs rely on it.
class Chain {
 public:
  void add(cfg_entry* record) {
    cfg_entry*& place = first_ == nullptr ? first_ : first_->next;
    record->next = place;
    place = record;
  }
  cfg_entry* first() const { return first_; }

 private:
  cfg_entry* first_ = nullptr;
};

// The last record; null for the empty chain.
cfg_entry* last_of(cfg_entry* first);

std::size_t count_of(const cfg_entry* first);

inline std::string_view text_of(const char* text) { return text == nullptr ? std::string_view() : text; }

}  // namespace kvrn
