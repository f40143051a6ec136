// SPDX-License-Identifier: MIT
// The smart-battery records that the monitoring process publishes.
#include "battery/smart.hpp"
#include "cache/image.hpp"
#include "util/observe.hpp"

namespace kvrn {

bool published_battery(int psu, kvrn_sbs_battery_info& out) {
  out = {};
  if (psu < 0 || static_cast<std::size_t>(psu) >= most_sources) return false;
  const About about(KVRN_SUBJECT_PSU, psu);
  const OpenImage image = open_image(raw_battery_file);
  if (!image) return false;
  kvrn_sbs_battery_info record;
  const auto bytes = std::as_writable_bytes(std::span(&record, 1));
  if (!read_image(image.fd.get(), bytes, sizeof record * static_cast<std::size_t>(psu))) return false;
  out = record;
  return true;
}

}  // namespace kvrn

int get_battery_info(int index, kvrn_sbs_battery_info* out) {
  return out != nullptr && kvrn::published_battery(index, *out) ? 1 : 0;
}
