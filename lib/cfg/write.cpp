// SPDX-License-Identifier: MIT
#include "cfg/write.hpp"

#include <stdio.h>

#include "cfg/parse.hpp"
#include "cfg/protect.hpp"
#include "util/read_file.hpp"

namespace kvrn {
namespace {

void write_line(FILE* stream, const char* key, const char* value) {
  // Results are not checked: for programs the 0 of a save means only that the file could be opened.
  (void)::fputs(key, stream);
  (void)::fputc('=', stream);
  (void)::fputs(value, stream);
  (void)::fputc('\n', stream);
}

const char* or_empty(const char* text) { return text == nullptr ? "" : text; }

}  // namespace

int write_cfg(const cfg_entry* cfg, const char* path, bool protect) {
  const Stream stream = open_stream(path, O_WRONLY | O_CREAT | O_TRUNC);
  if (!stream) return -1;
  for (; cfg != nullptr; cfg = cfg->next) {
    const char* key = or_empty(cfg->key);
    const char* value = or_empty(cfg->value);
    if (protect) seal_line(key, value);
    write_line(stream.get(), key, value);
  }
  return 0;
}

}  // namespace kvrn

int save_cfg(const cfg_entry* cfg, const char* path) { return kvrn::write_cfg(cfg, path, true); }

void print_cfg(const cfg_entry* cfg) {
  for (; cfg != nullptr; cfg = cfg->next)
    kvrn::write_line(stdout, kvrn::or_empty(cfg->key), kvrn::or_empty(cfg->value));
}

int crypt_cfg(const char* input, const char* output, int protect) {
  const kvrn::Stream stream = kvrn::open_stream(input, O_RDONLY);
  const kvrn::Config cfg(kvrn::load(stream.get()));
  // The output may be the input. After a read error an incomplete text must not replace the complete file.
  if (!cfg || ::ferror(stream.get()) != 0) return -1;
  return kvrn::write_cfg(cfg.get(), output, protect != 0);
}
