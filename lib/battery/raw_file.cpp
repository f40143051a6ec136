// SPDX-License-Identifier: MIT
// The smart-battery records that the monitoring process publishes.
#include <kvrn/battery.h>

#include "cache/image.hpp"

int get_battery_info(int index, kvrn_sbs_battery_info* out) {
  if (out == nullptr) return 0;
  *out = {};
  if (index < 0 || index > 3) return 0;
  const kvrn::OpenImage image = kvrn::open_image(kvrn::raw_battery_file);
  if (!image) return 0;
  kvrn_sbs_battery_info record;
  const auto bytes = std::as_writable_bytes(std::span(&record, 1));
  if (!kvrn::read_image(image.fd.get(), bytes, sizeof record * static_cast<std::size_t>(index))) return 0;
  *out = record;
  return 1;
}
