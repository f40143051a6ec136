// SPDX-License-Identifier: MIT
// The writer of the PSU cache.
#include <kvrn/cache.h>
#include <kvrn/psu.h>

#include <cstring>

#include "cache/writer.hpp"
#include "psu/readout.hpp"

namespace {

constexpr kvrn::WriterSpec file{kvrn::psu_cache_file, "file", sizeof(psu_info)};

struct Writer {
  cache_source source;
  kvrn::WriterImage image;
};

Writer& writer_of(cache_source* self) { return *static_cast<Writer*>(self->state); }

// Fills the content of a new file.
void fill(std::span<std::byte> image) {
  psu_info records[KVRN_PSU_MAX]{};
  (void)kvrn::Readout().read_all(records);  // records beyond the board's count stay zero
  std::memcpy(image.data(), records, sizeof records);
}

bool mapped(Writer& writer) {
  kvrn::drop_if_replaced(file, writer.image);
  if (writer.image.start != nullptr) return true;
  kvrn::Fd fd = kvrn::open_for_writing(file, fill);
  return fd && kvrn::map_for_writing(file, std::move(fd), writer.image);
}

int update(cache_source* self) {
  Writer& writer = writer_of(self);
  if (!mapped(writer)) return 0;
  psu_info records[KVRN_PSU_MAX]{};
  (void)kvrn::Readout().read_all(records);  // records beyond the board's count stay zero
  return kvrn::publish(file, writer.image, std::as_bytes(std::span(records)));
}

int get(cache_source* self, void* view) {
  return kvrn::hand_out<psu_info_view>(writer_of(self).image, view, kvrn::source_count);
}

void destroy(cache_source* self) { ::free(self); }

}  // namespace

cache_source* psu_info_cache_new() {
  auto* writer = static_cast<Writer*>(::calloc(1, sizeof(Writer)));
  if (writer == nullptr) return nullptr;
  *writer = {{writer, update, get, destroy}, {}};
  (void)mapped(*writer);  // on failure the next update tries again
  return &writer->source;
}
