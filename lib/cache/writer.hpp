// SPDX-License-Identifier: MIT
// The writing side of an image, which knows no record either. The image is written through the descriptor, never the
// mapping: another program may cut the file short at any time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "cache/image.hpp"

namespace kvrn {

struct WriterSpec {
  ImageSpec image;
  const char* file_kind;    // as the log names it
  std::size_t record_size;  // of the one record that mapping clears
};

// What a writer holds; plain, because it outlives its object.
struct WriterImage {
  void* start = nullptr;  // null: not mapped
  int fd = -1;
};

// The two halves of mapping a file. The file, created or filled when it has not the image's size: `fill` prepares the
// zeroed content. Logs and is empty on failure.
Fd open_for_writing(const WriterSpec& spec, void (*fill)(std::span<std::byte> image));
// Maps the file and invalidates it for every reader. Logs and returns false on failure.
bool map_for_writing(const WriterSpec& spec, Fd fd, WriterImage& image);

// Lets go of an image whose file was removed or replaced, so that it is mapped anew.
void drop_if_replaced(const WriterSpec& spec, WriterImage& image);

// Fills a caller's view of the image, as a source's `get` does; the count is asked for only while there is one.
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
