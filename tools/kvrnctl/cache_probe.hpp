// SPDX-License-Identifier: MIT
// Why a cache can or cannot be used: the tool's own look at the file, beside the library's reader.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "cache/image.hpp"

namespace kvrnctl {

struct CacheProbe {
  int open_error = 0;                 // errno of the open, 0 when it opened
  bool whole = false;                 // the size is the image's
  std::int64_t size = 0;              // bytes
  std::optional<std::int64_t> age_s;  // no value: never refreshed, or not readable

  bool fresh() const { return age_s && *age_s <= kvrn::image_max_age_s; }
  // One line for people: "37 s old", "permission denied", ...
  std::string text() const;
};

CacheProbe probe_cache(const kvrn::ImageSpec& spec);

}  // namespace kvrnctl
