// SPDX-License-Identifier: MIT
// Reads all power sources, from the cache or from the hardware.
#include "psu/readout.hpp"

#include <algorithm>

#include "cache/view.hpp"
#include "hw/gpio.hpp"
#include "util/observe.hpp"

namespace kvrn {
namespace {

// Copies all four records from the caller's source, or from the cache. @return the count of the view
std::optional<int> copy_shared(psu_info* out, cache_source* source) {
  const std::span<std::byte> bytes = std::as_writable_bytes(std::span(out, most_sources));
  std::optional<int> count;
  (void)with_view<psu_info_view>(source, open_sources, close_sources, [&](const psu_info_view& view) {
    // The image that open_sources opens is a regular file.
    if (source == nullptr ? read_image(view.fd, bytes, 0) : copy_records(view, bytes)) count = view.count;
  });
  return count;
}

}  // namespace

Sources read_sources(psu_info* out, cache_source* source) {
  // If the file is truncated during the read, only a part is copied. This part must not reach the caller.
  psu_info records[most_sources];
  if (const auto shared = copy_shared(records, source)) {
    std::copy_n(records, most_sources, out);
    return {*shared, true};
  }
  return {Readout().read_all(out), false};
}

int Readout::read_all(psu_info* out) {
  const int count = source_count();
  for (int psu = 0; psu < count; ++psu) read(out[psu], psu);
  return count;
}

void Readout::read(psu_info& out, int psu) {
  const About about(of_psu(psu));
  const PowerSource& source = platform().sources[static_cast<std::size_t>(psu)];
  out = {};
  out.id = static_cast<uint32_t>(psu);
  out.type = source.is_input() ? KVRN_PSU_TYPE_INPUT : KVRN_PSU_TYPE_BATTERY;
  switch (source.kind) {
    case SourceKind::none:
      return;
    case SourceKind::input:
      return read_supply(*this, source.input, out);
    case SourceKind::hwmon_battery:
      return read_hwmon_battery(*this, source.battery, out);
    case SourceKind::smart_battery:
      return read_smart_battery(*this, source.battery, out);
  }
}

}  // namespace kvrn

int psu_info_get_all(psu_info* out, cache_source* source) {
  return out == nullptr ? 0 : kvrn::read_sources(out, source).count;
}

int psu_info_get_direct(psu_info* out, int psu) {
  if (out == nullptr || psu < 0 || psu >= kvrn::source_count()) return -1;
  kvrn::Readout().read(*out, psu);
  return 0;
}

int read_gpio(int line, int* value) {
  const auto level = kvrn::gpio::read(static_cast<uint8_t>(line), KVRN_FACT_NONE);
  if (!level) return -1;
  if (value != nullptr) *value = *level;
  return 0;
}
