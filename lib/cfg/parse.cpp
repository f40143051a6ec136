// SPDX-License-Identifier: MIT
#include "cfg/parse.hpp"

#include <string.h>

#include "cfg/line_reader.hpp"
#include "cfg/protect.hpp"
#include "cfg/trim.hpp"
#include "util/observe.hpp"
#include "util/read_file.hpp"

namespace kvrn {
namespace {

// Makes the entry of a line; null for a comment, for a line without "=", and when out of memory.
cfg_entry* parse_line(std::string_view line) {
  const char first = line.front();
  if (first == '\n' || first == '\r' || first == '#') return nullptr;
  line = std::string_view(line.data(), ::strnlen(line.data(), line.size()));
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return nullptr;
  std::string_view value = line;
  value.remove_prefix(equals + 1);
  return new_entry(trimmed({line.data(), equals}, true), trimmed(value, false));
}

}  // namespace

cfg_entry* load(FILE* stream) {
  if (stream == nullptr) return nullptr;
  LineReader lines(stream);
  Chain chain;
  std::string_view line;
  while (lines.next(line)) {
    cfg_entry* entry = parse_line(line);
    if (entry == nullptr) continue;
    open_entry(*entry);
    chain.add(entry);
  }
  return chain.first();
}

cfg_entry* load(const char* path) {
  const Stream stream = open_blocks(path);
  tell(path, reading(KVRN_SOURCE_FILE, KVRN_FACT_CONFIGURATION), stream ? KVRN_OUTCOME_ANSWERED : KVRN_OUTCOME_FAILED,
       stream ? 0 : errno);
  return load(stream.get());
}

}  // namespace kvrn

cfg_entry* parse_stream(FILE* stream) KVRN_DOOR(load_stream);

cfg_entry* parse(const char* path) KVRN_DOOR(load_path);
