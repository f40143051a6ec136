// SPDX-License-Identifier: MIT
// The mechanism of the shared images, independent of the records in them. An image is a file of one exact size. Its
// last 8 bytes are the monotonic time of its last refresh in seconds.
#pragma once

#include <kvrn/battery.h>
#include <kvrn/cache.h>
#include <kvrn/psu.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "util/handle.hpp"
#include "util/observe.hpp"

namespace kvrn {

struct ImageSpec {
  const char* path;
  std::size_t size;
  const char* log_prefix;  // null: nothing is logged
  bool ages;               // whether the image is refused when it is older than image_max_age_s
  std::uint32_t what;      // argument `reading` of tell()
};

inline constexpr std::int64_t image_max_age_s = 10;

inline constexpr ImageSpec psu_cache_file{"/tmp/.psu_info_cache", sizeof(kvrn_psu_info_image), "PSU cache", true,
                                          reading(KVRN_SOURCE_IMAGE, KVRN_FACT_RECORDS)};
inline constexpr ImageSpec output_cache_file{"/tmp/.output_cache", sizeof(kvrn_output_image), "Output cache", false,
                                             reading(KVRN_SOURCE_IMAGE, KVRN_FACT_OUTPUT_RECORDS)};
inline constexpr ImageSpec raw_battery_file{"/tmp/.raw_battery_data", sizeof(kvrn_raw_battery_image), nullptr, true,
                                            reading(KVRN_SOURCE_IMAGE, KVRN_FACT_RECORDS)};

// An open image with the right size and, if its age matters, with a fresh stamp. The destructor closes and unmaps it
// unless it is released.
struct OpenImage {
  Fd fd;
  Mapping mapping;
  explicit operator bool() const { return static_cast<bool>(mapping); }
};
// Returns a descriptor for the same file above the standard descriptors. In a process without standard descriptors a
// message could otherwise be written into the image. Also, the descriptor 0 in a view means no descriptor.
Fd above_standard(Fd fd);

OpenImage open_image(const ImageSpec& spec);

bool has_size(int fd, std::size_t size);

// Copies bytes of an image through its descriptor. If another program truncates the mapped file, an access to the
// mapping would kill the reader. False when not all bytes could be read.
bool read_image(int fd, std::span<std::byte> out, std::size_t offset);

}  // namespace kvrn
