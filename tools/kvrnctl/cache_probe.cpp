// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/cache_probe.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <kvrn/bytes.h>
#include <kvrn/util.h>
#include <sys/stat.h>

#include "util/handle.hpp"

namespace kvrnctl {

CacheProbe probe_cache(const kvrn::ImageSpec& spec) {
  CacheProbe probe;
  // As the library's readers open it: who may not write the image may not use it.
  const kvrn::Fd fd = kvrn::Fd::open_regular(spec.path, O_RDWR);
  if (!fd) {
    probe.open_error = errno;
    return probe;
  }
  struct stat status {};
  if (::fstat(fd.get(), &status) == 0) probe.size = status.st_size;
  probe.whole = probe.size == static_cast<std::int64_t>(spec.size);
  kvrn_be_i64 stamp{};
  if (!probe.whole) return probe;
  if (::pread(fd.get(), &stamp, sizeof stamp, static_cast<off_t>(spec.size - sizeof stamp)) != sizeof stamp)
    return probe;
  // The stamp of an image that is being invalidated may read as a half: see the library's reader.
  constexpr std::int64_t torn = INT64_C(0xFFFFFFFF);
  if (kvrn_i64(stamp) >= 0 && kvrn_i64(stamp) != torn) probe.age_s = ::get_timestamp_mono() - kvrn_i64(stamp);
  return probe;
}

std::string CacheProbe::text() const {
  if (open_error == ENOENT) return "no such file";
  if (open_error != 0) return errno_text(open_error);
  if (!whole) return fmt::format("wrong size ({} bytes)", size);
  if (!age_s) return "never refreshed";
  return *age_s < 0 ? fmt::format("stamped {} s in the future", -*age_s) : fmt::format("{} s old", *age_s);
}

json image_source(const kvrn::ImageSpec& spec, const CacheProbe& probe) {
  return {{"kind", "cache"},
          {"path", spec.path},
          {"age_s", probe.age_s && !probe.in_future() ? json(*probe.age_s) : json(nullptr)},
          {"fresh", probe.fresh()},
          {"age", probe.text()}};
}

}  // namespace kvrnctl
