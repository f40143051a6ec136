// SPDX-License-Identifier: MIT
// Reads the smart-battery records that the monitoring process publishes.
#include "battery/smart.hpp"
#include "cache/image.hpp"

namespace kvrn {

int published_battery(int psu, kvrn_sbs_battery_info* out) {
  if (out == nullptr) return 0;
  *out = {};
  if (psu < 0 || static_cast<std::size_t>(psu) >= most_sources) return 0;
  const OpenImage image = open_image(raw_battery_file);
  if (!image) return 0;
  kvrn_sbs_battery_info record;
  const auto bytes = std::as_writable_bytes(std::span(&record, 1));
  if (!read_image(image.fd.get(), bytes, sizeof record * static_cast<std::size_t>(psu))) return 0;
  *out = record;
  return 1;
}

}  // namespace kvrn

int get_battery_info(int index, kvrn_sbs_battery_info* out) KVRN_DOOR(published_battery);
