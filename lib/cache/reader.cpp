// SPDX-License-Identifier: MIT
// Readers of the two status caches.
#include <kvrn/cache.h>
#include <kvrn/psu.h>

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
  if (known == 0) (void)::get_dc_out_addrs(&known);
  return known;
}

}  // namespace kvrn

int get_psu_info_cache_data(psu_info_view* view) { return fill(view, kvrn::psu_cache_file, ::get_psu_count); }

void psu_info_cache_data_free(psu_info_view* view) { release(view, kvrn::psu_cache_file); }

int get_output_cache_data(output_view* view) { return fill(view, kvrn::output_cache_file, kvrn::output_count); }

void output_cache_data_free(output_view* view) { release(view, kvrn::output_cache_file); }
