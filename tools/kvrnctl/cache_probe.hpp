// SPDX-License-Identifier: MIT
// Why a cache can or cannot be used: the tool's own look at the file, beside the library's reader.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "cache/image.hpp"
#include "tools/kvrnctl/context.hpp"

namespace kvrnctl {

struct CacheProbe {
  int open_error = 0;     // errno of the open, 0 when it opened
  bool whole = false;     // the size is the image's
  std::int64_t size = 0;  // bytes
  // No value: never refreshed, or not readable. Negative: stamped before the clock began anew, or by nobody's clock;
  // the library takes that as fresh, people should not.
  std::optional<std::int64_t> age_s;

  bool fresh() const { return age_s && *age_s >= 0 && *age_s <= kvrn::image_max_age_s; }
  bool in_future() const { return age_s && *age_s < 0; }
  // One line for people: "37 s old", "permission denied", ...
  std::string text() const;
};

CacheProbe probe_cache(const kvrn::ImageSpec& spec);

// Readings that came from an image, as documents name their source: "kind", "path", "age_s" (null without a time that
// has been), "fresh", and the words of text() as "age".
json image_source(const kvrn::ImageSpec& spec, const CacheProbe& probe);

}  // namespace kvrnctl
