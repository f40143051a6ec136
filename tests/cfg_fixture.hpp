// SPDX-License-Identifier: MIT
// Configurations from and to texts.
#pragma once

#include <stdio.h>
#include <kvrn/kvrn.hpp>

#include <string>

using Config = kvrnpp::Owned<cfg_entry, free_cfg>;
using ResultList = kvrnpp::Owned<cfg_entry, free_cfg_it>;

inline Config config(const std::string& text) {
  FILE* stream = ::tmpfile();
  ::fwrite(text.data(), 1, text.size(), stream);
  ::rewind(stream);
  Config cfg(parse_stream(stream));
  ::fclose(stream);
  return cfg;
}

// "key=value" of each record with a comma between; a null value has no "=".
inline std::string shown(const cfg_entry* record) {
  std::string text;
  for (; record != nullptr; record = record->next) {
    if (!text.empty()) text += ',';
    text += record->key;
    if (record->value != nullptr) text += std::string("=") + record->value;
  }
  return text;
}
inline std::string shown(const Config& cfg) { return shown(cfg.get()); }
// Of a list of results, which is freed.
inline std::string taken(cfg_entry* list) { return shown(ResultList(list).get()); }
