// SPDX-License-Identifier: MIT
// Functions for views that the readers and writers of the caches share.
#pragma once

#include <kvrn/cache.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstring>
#include <span>

#include "cache/image.hpp"
#include "util/door.hpp"

namespace kvrn {

// Number of DC outputs. It is counted once per process, and again while it is 0.
int output_count();

// Copies records from a view of a caller, beginning at `offset` bytes. If the view's descriptor is a regular file, the
// records are read through it. When the file was truncated, the function then returns false, and the process is not
// killed. The view of a caller's own source may have no descriptor.
template <typename View>
bool copy_records(const View& view, std::span<std::byte> out, std::size_t offset = 0) {
  if (view.records == nullptr) return false;
  struct stat status {};
  if (view.fd > 0 && ::fstat(view.fd, &status) == 0 && S_ISREG(status.st_mode)) return read_image(view.fd, out, offset);
  std::memcpy(out.data(), reinterpret_cast<const std::byte*>(view.records) + offset, out.size());
  return true;
}

// Open and close the images as views. The functions of the interface are doors to these functions.
int open_sources(psu_info_view* view) KVRN_INNER(open_sources);
void close_sources(psu_info_view* view) KVRN_INNER(close_sources);
int open_outputs(output_view* view) KVRN_INNER(open_outputs);
void close_outputs(output_view* view) KVRN_INNER(close_outputs);

// Calls `use` with the view of the caller's source if there is one, else with the view of an image. False when there is
// no view.
template <typename View, typename Use>
bool with_view(cache_source* source, int (*open)(View*), void (*close)(View*), Use use) {
  View view{};
  if (source != nullptr) {
    if (source->get == nullptr || source->get(source, &view) == 0) return false;
    use(view);
    return true;
  }
  if (open(&view) == 0) return false;
  use(view);
  close(&view);
  return true;
}

template <typename Use>
bool with_outputs(cache_source* source, Use use) {
  return with_view<output_view>(source, open_outputs, close_outputs, use);
}

}  // namespace kvrn
