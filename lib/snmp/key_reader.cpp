// SPDX-License-Identifier: MIT
#include "snmp/key_reader.hpp"

#include <string.h>

#include <algorithm>
#include <cerrno>

#include "cfg/line_reader.hpp"
#include "util/observe.hpp"
#include "util/prefix.hpp"
#include "util/read_file.hpp"

namespace kvrn {
namespace {

int store(std::string_view text, char* buffer, uint32_t size) {
  if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
  const std::size_t length = std::min<std::size_t>(::strnlen(text.data(), text.size()), size - 1);
  *std::copy_n(text.data(), length, buffer) = '\0';
  return static_cast<int>(length);
}

}  // namespace

int read_key(const char* path, std::string_view key, char* buffer, uint32_t size) {
  const Stream file = open_blocks(path);
  tell(path, reading(KVRN_SOURCE_FILE, KVRN_FACT_CONFIGURATION), file ? KVRN_OUTCOME_ANSWERED : KVRN_OUTCOME_FAILED,
       file ? 0 : errno);
  if (!file) return 0;
  LineReader lines(file.get());
  std::string_view piece;
  bool line_begins = true;
  while (lines.next(piece)) {
    if (line_begins && has_prefix(piece, key) && piece.size() > key.size() && piece[key.size()] == '=') {
      piece.remove_prefix(key.size() + 1);
      return store(piece, buffer, size);
    }
    line_begins = piece.back() == '\n';  // a long line is read in pieces
  }
  return -1;
}

}  // namespace kvrn
