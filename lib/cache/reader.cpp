// SPDX-License-Identifier: MIT
// Readers of the two status caches.
#include <kvrn/cache.h>
#include <kvrn/psu.h>

#include "board/platform.hpp"
#include "cache/image.hpp"
#include "cache/view.hpp"

namespace {

template <typename View>
bool fill(View& view, const kvrn::ImageSpec& spec, int (*count)()) {
  view = {};
  kvrn::OpenImage image = kvrn::open_image(spec);
  if (!image) return false;
  view.count = count();
  view.records = static_cast<decltype(view.records)>(image.mapping.release());
  view.fd = image.fd.release();
  return true;
}

template <typename View>
void release(View& view, const kvrn::ImageSpec& spec) {
  const kvrn::Mapping mapping = kvrn::Mapping::adopt(view.records, spec.size);
  const kvrn::Fd fd(view.fd == 0 ? -1 : view.fd);  // 0 means no descriptor, never standard input
  view = {};
}

}  // namespace

namespace kvrn {

int output_count() {
  static int known = 0;
  if (known == 0) known = static_cast<int>(output_monitors().size());
  return known;
}

bool open_sources(psu_info_view& view) { return fill(view, psu_cache_file, source_count); }
void close_sources(psu_info_view& view) { release(view, psu_cache_file); }
bool open_outputs(output_view& view) { return fill(view, output_cache_file, output_count); }
void close_outputs(output_view& view) { release(view, output_cache_file); }

}  // namespace kvrn

int get_psu_info_cache_data(psu_info_view* view) { return view != nullptr && kvrn::open_sources(*view) ? 1 : 0; }

void psu_info_cache_data_free(psu_info_view* view) {
  if (view != nullptr) kvrn::close_sources(*view);
}

int get_output_cache_data(output_view* view) { return view != nullptr && kvrn::open_outputs(*view) ? 1 : 0; }

void output_cache_data_free(output_view* view) {
  if (view != nullptr) kvrn::close_outputs(*view);
}
