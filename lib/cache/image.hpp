// SPDX-License-Identifier: MIT
// The mechanism of the shared images, which knows no record: a file of one exact size whose last 8 bytes are the
// monotonic time in seconds of its last refresh.
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
  bool ages;               // refused when older than image_max_age_s
  std::uint32_t what;      // as tell() has it
};

inline constexpr std::int64_t image_max_age_s = 10;

inline constexpr ImageSpec psu_cache_file{"/tmp/.psu_info_cache", sizeof(kvrn_psu_info_image), "PSU cache", true,
                                          reading(KVRN_SOURCE_IMAGE, KVRN_FACT_RECORDS)};
inline constexpr ImageSpec output_cache_file{"/tmp/.output_cache", sizeof(kvrn_output_image), "Output cache", false,
                                             reading(KVRN_SOURCE_IMAGE, KVRN_FACT_OUTPUT_RECORDS)};
inline constexpr ImageSpec raw_battery_file{"/tmp/.raw_battery_data", sizeof(kvrn_raw_battery_image), nullptr, true,
                                            reading(KVRN_SOURCE_IMAGE, KVRN_FACT_RECORDS)};

// An image that was opened, found whole and, where that counts, fresh. Closed and unmapped unless released.
struct OpenImage {
  Fd fd;
  Mapping mapping;
  explicit operator bool() const { return static_cast<bool>(mapping); }
};
// The same file above the standard descriptors: in a process without them no message must go into an image, and a
// view's descriptor 0 means none.
Fd above_standard(Fd fd);

OpenImage open_image(const ImageSpec& spec);

bool has_size(int fd, std::size_t size);

// Copies bytes of an image through its descriptor: a file that another program cuts short while it is mapped would
// kill a reader that touches the mapping. False when not all bytes were there.
bool read_image(int fd, std::span<std::byte> out, std::size_t offset);

}  // namespace kvrn
