// SPDX-License-Identifier: MIT
// Readers of the two status caches.
#include <kvrn/cache.h>
#include <kvrn/psu.h>

#include "board/platform.hpp"
#include "cache/image.hpp"
#include "cache/view.hpp"

namespace {

template <typename View>
int fill(View* view, const kvrn::ImageSpec& spec, int (*count)()) {
  if (view == nullptr) return 0;
  *view = {};
  kvrn::OpenImage image = kvrn::open_image(spec);
  if (!image) return 0;
  view->count = count();
  view->records = static_cast<decltype(view->records)>(image.mapping.release());
  view->fd = image.fd.release();
  return 1;
}

template <typename View>
void release(View* view, const kvrn::ImageSpec& spec) {
  if (view == nullptr) return;
  const kvrn::Mapping mapping = kvrn::Mapping::adopt(view->records, spec.size);
  const kvrn::Fd fd(view->fd == 0 ? -1 : view->fd);  // 0 means no descriptor, never standard input
  *view = {};
}

}  // namespace

namespace kvrn {

int output_count() {
  static int known = 0;
  if (known == 0) known = static_cast<int>(output_monitors().size());
  return known;
}

int open_sources(psu_info_view* view) { return fill(view, psu_cache_file, source_count); }
void close_sources(psu_info_view* view) { release(view, psu_cache_file); }
int open_outputs(output_view* view) { return fill(view, output_cache_file, output_count); }
void close_outputs(output_view* view) { release(view, output_cache_file); }

}  // namespace kvrn

int get_psu_info_cache_data(psu_info_view* view) KVRN_DOOR(open_sources);
void psu_info_cache_data_free(psu_info_view* view) KVRN_DOOR(close_sources);
int get_output_cache_data(output_view* view) KVRN_DOOR(open_outputs);
void output_cache_data_free(output_view* view) KVRN_DOOR(close_outputs);
