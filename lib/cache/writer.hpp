// SPDX-License-Identifier: MIT
// The writer side of an image, independent of the records in it. The image is written through the descriptor and never
// through the mapping, because another program may truncate the file at any time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "cache/image.hpp"

namespace kvrn {

struct WriterSpec {
  ImageSpec image;
  const char* file_kind;    // name of the file in log messages
  std::size_t record_size;  // size of the record that map_for_writing() clears
};

// The mapping and descriptor of a writer. They outlive the writer object, so this type has no destructor.
struct WriterImage {
  void* start = nullptr;  // null: not mapped
  int fd = -1;
};

// The first half of mapping a file: opens the file and creates it if needed. A file with a wrong size is filled: `fill`
// writes into the zeroed content. On failure the function logs and returns no descriptor.
Fd open_for_writing(const WriterSpec& spec, void (*fill)(std::span<std::byte> image));
// The second half: maps the file and invalidates the image for every reader. On failure the function logs and returns
// false.
bool map_for_writing(const WriterSpec& spec, Fd fd, WriterImage& image);

// Unmaps an image whose file was removed or replaced, so that the next update maps it again.
void drop_if_replaced(const WriterSpec& spec, WriterImage& image);

// Fills a caller's view of the image, as the `get` of a source does. `count` is called only when there is an image.
template <typename View>
int hand_out(const WriterImage& image, void* view, int (*count)()) {
  if (view == nullptr) return 0;
  auto& out = *static_cast<View*>(view);
  out = {};
  if (image.start == nullptr) return 0;
  out = {static_cast<decltype(out.records)>(image.start), count(), image.fd};
  return 1;
}

// Writes the records, then the stamp. @return the upper half of the stamp, which callers do not test
int publish(const WriterSpec& spec, const WriterImage& image, std::span<const std::byte> records);

}  // namespace kvrn
