// SPDX-License-Identifier: MIT
#include "cfg/escape.hpp"

#include <stdlib.h>
#include <string.h>

namespace kvrn {
namespace {

constexpr bool is_special(char c) { return c == '`' || c == '\\' || c == '"' || c == '$'; }

char* escaped_copy(const char* text, size_t size) {
  auto* copy = static_cast<char*>(::malloc(size));
  if (copy == nullptr) return nullptr;
  char* to = copy;
  for (; *text != '\0'; ++text) {
    if (is_special(*text)) *to++ = '\\';
    *to++ = *text;
  }
  *to = '\0';
  return copy;
}

}  // namespace

const char* escaped(cfg_entry* record) {
  if (record == nullptr) return nullptr;
  if (record->escaped != nullptr || record->value == nullptr) return record->escaped;
  size_t special = 0;
  for (const char* c = record->value; *c != '\0'; ++c) special += is_special(*c) ? 1 : 0;
  record->escaped = special == 0 ? record->value : escaped_copy(record->value, ::strlen(record->value) + special + 1);
  return record->escaped;
}

}  // namespace kvrn

const char* esc_value(cfg_entry* record) KVRN_DOOR(escaped);
