// SPDX-License-Identifier: MIT
#pragma once

#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>
#include <kvrn/kvrn.hpp>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#define CHECK(condition)                                                        \
  do {                                                                          \
    if (!(condition)) {                                                         \
      ::fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #condition); \
      ::abort();                                                                \
    }                                                                           \
  } while (false)

using Config = kvrnpp::Owned<cfg_entry, free_cfg>;

using Pairs = std::vector<std::pair<std::string, std::string>>;

inline Pairs pairs(const cfg_entry* record) {
  Pairs result;
  for (; record != nullptr; record = record->next)
    result.emplace_back(record->key, record->value == nullptr ? "(none)" : record->value);
  return result;
}

inline Config parse_text(std::string_view text) {
  if (text.empty()) return nullptr;
  FILE* stream = ::fmemopen(const_cast<char*>(text.data()), text.size(), "r");
  Config cfg(parse_stream(stream));
  ::fclose(stream);
  return cfg;
}
