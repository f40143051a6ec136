// SPDX-License-Identifier: MIT
// The writer of the output cache.
#include <kvrn/cache.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>

#include "board/platform.hpp"
#include "cache/view.hpp"
#include "cache/writer.hpp"
#include "status/outputs.hpp"

namespace {

constexpr kvrn::WriterSpec file{kvrn::output_cache_file, "output file", sizeof(output_status)};

struct Writer {
  cache_source source;
  int count;
  const int* limit_mw;  // owned by the caller
  uintptr_t word;       // given by the caller, not used
  output_status* records;
  kvrn::WriterImage image;
};

Writer& writer_of(cache_source* self) { return *static_cast<Writer*>(self->state); }

bool mapped(Writer& writer) {
  kvrn::drop_if_replaced(file, writer.image);
  if (writer.image.start != nullptr) return true;
  kvrn::Fd fd = kvrn::open_for_writing(file, nullptr);
  if (!fd) return false;
  if (writer.records == nullptr)
    writer.records = static_cast<output_status*>(::calloc(KVRN_OUTPUT_MAX, sizeof(output_status)));
  if (writer.records == nullptr) {
    ::syslog(LOG_WARNING, "%s: Unable to prepare tmp memory for %s (%d)", file.image.log_prefix, file.image.path,
             errno);
    return false;
  }
  return kvrn::map_for_writing(file, std::move(fd), writer.image);
}

int update(cache_source* self) {
  Writer& writer = writer_of(self);
  if (!mapped(writer)) return 0;
  const std::span records(writer.records, KVRN_OUTPUT_MAX);
  kvrn::read_outputs(records.first(static_cast<std::size_t>(writer.count)), writer.limit_mw);
  return kvrn::publish(file, writer.image, std::as_bytes(records));
}

int get(cache_source* self, void* view) {
  return kvrn::hand_out<output_view>(writer_of(self).image, view, kvrn::output_count);
}

void destroy(cache_source* self) {
  if (self == nullptr) return;
  ::free(writer_of(self).records);
  ::free(self);
}

}  // namespace

cache_source* output_cache_new(const int* limit_mw, uintptr_t word) {
  auto* writer = static_cast<Writer*>(::calloc(1, sizeof(Writer)));
  if (writer == nullptr) return nullptr;
  const int count = std::min(static_cast<int>(kvrn::output_monitors().size()), KVRN_OUTPUT_MAX);
  *writer = {{writer, update, get, destroy}, count, limit_mw, word, nullptr, {}};
  (void)mapped(*writer);  // on failure the next update tries again
  return &writer->source;
}
