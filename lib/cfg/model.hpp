// SPDX-License-Identifier: MIT
// Records and their texts. Callers free keys, values and records one by one, so each is a block of its own.
#pragma once

#include <kvrn/cfg.h>

#include <cstddef>
#include <memory>
#include <string_view>

namespace kvrn {

// A terminated copy for free(); null without memory.
char* copy_text(std::string_view text);

// A record that refers to the texts given; null without memory.
cfg_entry* new_record(char* key, char* value);

// A record that owns copies of both texts; null without memory.
cfg_entry* new_entry(std::string_view key, std::string_view value);

// Frees the escaped copy, unless it is the value itself, and forgets it.
void drop_escaped(cfg_entry& record);

void free_record(cfg_entry* record);  // a result list's record: the texts belong to the configuration
void free_entry(cfg_entry* entry);    // a configuration's entry, texts included

// A configuration: its entries are the owner's.
struct FreeConfig {
  void operator()(cfg_entry* first) const;
};
using Config = std::unique_ptr<cfg_entry, FreeConfig>;

// A chain as parsing and searching build it: the first record heads the list and every later one goes directly behind
// it. Everything that lists or saves a configuration shows this order, and programs rely on it.
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
