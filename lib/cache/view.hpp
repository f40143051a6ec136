// SPDX-License-Identifier: MIT
// What readers and writers of the caches share about views.
#pragma once

#include <kvrn/cache.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstring>
#include <span>

#include "cache/image.hpp"
#include "util/door.hpp"

namespace kvrn {

// Number of DC outputs, counted once per process (a count of 0 is counted again).
int output_count();

// Copies records out of a caller's view, from `offset` bytes on. A view whose descriptor is a file is read through it,
// so that a file that was cut short makes this false instead of killing the process; a caller's own source may have no
// descriptor.
template <typename View>
bool copy_records(const View& view, std::span<std::byte> out, std::size_t offset = 0) {
  if (view.records == nullptr) return false;
  struct stat status {};
  if (view.fd > 0 && ::fstat(view.fd, &status) == 0 && S_ISREG(status.st_mode)) return read_image(view.fd, out, offset);
  std::memcpy(out.data(), reinterpret_cast<const std::byte*>(view.records) + offset, out.size());
  return true;
}

// The images as views, which the functions of the interface fill and release.
int open_sources(psu_info_view* view) KVRN_INNER(open_sources);
void close_sources(psu_info_view* view) KVRN_INNER(close_sources);
int open_outputs(output_view* view) KVRN_INNER(open_outputs);
void close_outputs(output_view* view) KVRN_INNER(close_outputs);

// Hands `use` the view of a caller's source if there is one, else of an image. False: there is none.
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
