// SPDX-License-Identifier: MIT
// Edits driven by random bytes. The first line of the input is a program, the rest the configuration.
#include <kvrn/status.h>
#include <string.h>

#include <algorithm>
#include <map>
#include <set>

#include "cfg/key.hpp"
#include "tests/fuzz/cfg_fuzz.hpp"

namespace {

using kvrn::cfg_key_cmp;

void check_sort(Config& cfg) {
  std::vector<const cfg_entry*> expected;
  for (const cfg_entry* entry = cfg.get(); entry != nullptr; entry = entry->next) expected.push_back(entry);
  std::stable_sort(expected.begin(), expected.end(), [](auto* a, auto* b) { return cfg_key_cmp(a->key, b->key) < 0; });
  cfg.reset(sort_cfg(cfg.release()));
  const cfg_entry* entry = cfg.get();
  for (const cfg_entry* wanted : expected) {
    CHECK(entry == wanted);
    entry = entry->next;
  }
  CHECK(entry == nullptr);
}

const cfg_entry* first_of(const cfg_entry* cfg, std::string_view key) {
  const std::string cut(key.substr(0, 255));
  while (cfg != nullptr && cfg_key_cmp(cfg->key, cut.c_str()) != 0) cfg = cfg->next;
  return cfg;
}

// A configuration differs from itself in what its own look-ups do not find: duplicates, cleared values, overlong keys.
void check_diff(const cfg_entry* cfg) {
  cfg_entry* list = get_cfg_diff_it(cfg, cfg);
  for (const cfg_entry* record = list; record != nullptr; record = record->next) {
    const cfg_entry* first = first_of(cfg, record->key);
    CHECK(first == nullptr || first->value == nullptr || record->value == nullptr ||
          ::strcmp(first->value, record->value) != 0);
  }
  free_cfg_it(list);
}

// Renumbering again changes nothing when every key is a number between dots.
void check_renumbering(const cfg_entry* cfg) {
  std::string text;
  unsigned number = 7;
  for (const cfg_entry* entry = cfg; entry != nullptr; entry = entry->next) {
    number = number * 31 + static_cast<unsigned char>(entry->key[0]);
    text += "n." + std::to_string(number % 40 + 1) + "." + (entry->key[0] == '\0' ? "x" : "y") + "=\n";
  }
  const Config own = parse_text(text);
  fix_cfg_idx(own.get(), "n.", 1);
  std::set<int32_t> numbers;
  for (const cfg_entry* entry = own.get(); entry != nullptr; entry = entry->next)
    numbers.insert(get_cfg_key_idx(entry->key, 1));
  CHECK(numbers.empty() || (*numbers.begin() == 1 && *numbers.rbegin() == static_cast<int>(numbers.size())));
  const Pairs once = pairs(own.get());
  fix_cfg_idx(own.get(), "n.", 1);
  CHECK(pairs(own.get()) == once);
}

void check_lists(const cfg_entry* cfg, const char* key) {
  cfg_entry* list = get_cfg_it(cfg, 0, "%s", key);
  CHECK((list != nullptr) == (exist_cfg_it(cfg, 0, "%s", key) == 1));
  for (cfg_entry* record = list; record != nullptr; record = record->next) (void)esc_value(record);
  if (list != nullptr) free_cfg_it_member(&list, list->next == nullptr ? list : list->next);
  free_cfg_it(list);
  free_cfg_it(get_cfg_any_section(cfg, key, key[0] & 1, nullptr, "%.3s", key));
  (void)get_cfg_idx_by_devname(cfg, key, "eth0");
  (void)get_int32(cfg, 1, "%s", key);
  (void)get_uint32(cfg, 1, "%s", key);
  (void)get_int64(cfg, 1, "%s", key);
  (void)get_bool(cfg, 1, "%s", key);
  char name[16];
  getRuntimeInterface(cfg, key, name, 0);
}

void step(Config& cfg, unsigned code, const char* key, const char* value) {
  const int count = get_cfg_count(cfg.get());
  switch (code % 10) {
    case 0: {
      const bool there = exist_cfg_it(cfg.get(), 1, "%s", key) == 1;
      CHECK((update_value(cfg.get(), value, "%s", key) == 0) == there);
      CHECK(get_cfg_count(cfg.get()) == count + (there || count == 0 ? 0 : 1));
      break;
    }
    case 1:
      CHECK(update_value(cfg.get(), nullptr, "%s", key) != 0);
      break;
    case 2:
      CHECK(add_str_value(cfg.get(), value, "%s", key) == 0);
      CHECK(get_cfg_count(cfg.get()) == (count == 0 ? 0 : count + 1));
      break;
    case 3: {
      cfg_entry* first = cfg.release();
      const int deleted = cfg_del_key(&first, static_cast<int>(code & 16), "%.9s", key);
      cfg.reset(first);
      CHECK(get_cfg_count(first) + deleted == count);
      break;
    }
    case 4:
      check_sort(cfg);
      break;
    case 5:
      check_diff(cfg.get());
      break;
    case 6:
      check_renumbering(cfg.get());
      break;
    case 7:
      fix_cfg_idx(cfg.get(), "%.1s", 1 + static_cast<int>(code >> 6), key);
      break;
    case 8:
      check_lists(cfg.get(), key);
      break;
    default:
      (void)get_esc_value(cfg.get(), "", "%s", key);
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t end = std::min(input.find('\n'), input.size());
  Config cfg = parse_text(input.substr(std::min(end + 1, input.size())));
  for (size_t at = 0; at + 1 < std::min<size_t>(end, 64); at += 2) {
    // Keys and values are the configuration's own texts.
    std::string key = "k.1.x", value = "v$";
    unsigned pick = data[at + 1];
    for (const cfg_entry* entry = cfg.get(); entry != nullptr && pick > 0; entry = entry->next, --pick) {
      key = entry->key;
      if (entry->value != nullptr) value = entry->value;
    }
    step(cfg, data[at], key.c_str(), value.c_str());
  }
  return 0;
}
