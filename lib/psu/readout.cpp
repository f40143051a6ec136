// SPDX-License-Identifier: MIT
// All power sources, from the cache or from the hardware.
#include "psu/readout.hpp"

#include <kvrn/hw.h>

#include <algorithm>
#include <optional>

#include "board/platform.hpp"
#include "cache/view.hpp"

namespace {

// All four records from the caller's source, or from the cache. @return the view's count
std::optional<int> copy_shared(psu_info* out, cache_source* source) {
  const std::span<std::byte> bytes = std::as_writable_bytes(std::span(out, KVRN_PSU_MAX));
  psu_info_view view{};
  if (source != nullptr) {
    const bool filled = source->get != nullptr && source->get(source, &view) != 0;
    if (!filled || !kvrn::copy_records(view, bytes)) return std::nullopt;
    return view.count;
  }
  if (::get_psu_info_cache_data(&view) == 0) return std::nullopt;
  const bool whole = kvrn::read_image(view.fd, bytes, 0);
  const int count = view.count;
  ::psu_info_cache_data_free(&view);
  if (!whole) return std::nullopt;
  return count;
}

void read_battery(psu_info& out, int psu) {
  switch (kvrn::platform().battery(psu)) {
    case kvrn::BatteryReader::none:
      return;
    case kvrn::BatteryReader::hwmon:
      return kvrn::read_hwmon_battery(out);
    case kvrn::BatteryReader::smart:
      return kvrn::read_smart_battery(out);
  }
}

}  // namespace

int psu_info_get_all(psu_info* out, cache_source* source) {
  if (out == nullptr) return 0;
  // A file that is cut short while it is read delivers a part, which must not reach the caller.
  psu_info records[KVRN_PSU_MAX];
  if (const auto shared = copy_shared(records, source)) {
    std::copy_n(records, KVRN_PSU_MAX, out);
    return *shared;
  }
  const int count = ::get_psu_count();
  for (int psu = 0; psu < count; ++psu) (void)::psu_info_get_direct(&out[psu], psu);  // every number is valid
  return count;
}

int psu_info_get_direct(psu_info* out, int psu) {
  if (out == nullptr || ::psu_id_valid(psu) == 0) return -1;
  *out = {};
  out->id = static_cast<uint32_t>(psu);
  out->type = static_cast<uint32_t>(::psu_get_type(psu));
  if (out->type == KVRN_PSU_TYPE_INPUT)
    kvrn::read_supply(*out, psu);
  else
    read_battery(*out, psu);
  return 0;
}

int read_gpio(int line, int* value) {
  const int level = ::gpio_read(static_cast<uint8_t>(line));
  if (level == KVRN_GPIO_FAILED) return -1;
  if (value != nullptr) *value = level;
  return 0;
}
