// SPDX-License-Identifier: MIT
// How much power may be drawn, and how much the outputs deliver.
#include <kvrn/hw.h>
#include <kvrn/psu.h>

#include <algorithm>
#include <optional>

#include "board/platform.hpp"
#include "cache/view.hpp"
#include "util/number.hpp"

namespace {

constexpr int uw_per_mw = 1000;

int capped(int power_mw) { return std::min(power_mw, KVRN_MAX_SINGLE_POWER_MW); }

// What the entries of a view say: all of them (0), or one. Read one by one, because a caller's own source may have any
// number. nullopt when the records are not there.
std::optional<int> shared_power_uw(const output_view& view, int output) {
  if (output > view.count) return 0;
  const int first = output == 0 ? 0 : output - 1;
  const int last = output == 0 ? view.count : output;
  int sum = 0;
  for (int i = first; i < last; ++i) {
    output_status record;
    const auto bytes = std::as_writable_bytes(std::span(&record, 1));
    if (!kvrn::copy_records(view, bytes, sizeof record * static_cast<std::size_t>(i))) return std::nullopt;
    sum = kvrn::add_i32(sum, record.power_uw);
  }
  return sum;
}

std::optional<int> shared_power_uw(int output, cache_source* source) {
  std::optional<int> power;
  (void)kvrn::with_outputs(source, [&](const output_view& view) { power = shared_power_uw(view, output); });
  return power;
}

int direct_power_uw(int output) {
  if (output == 0) return ::isl28022_read_power_out_direct();
  return ::isl28022_read_power_id_direct(static_cast<uint32_t>(output) - 1);
}

}  // namespace

int psu_get_max_power_mW(int inputs, int batteries, int count_battery) {
  const kvrn::PowerLimits& limits = kvrn::platform().power;
  // No usable input still gives the full figure: a battery alone carries the outputs.
  if (limits.full == 0 || inputs != 1) return limits.full;
  const bool assisted = count_battery != 0 && batteries > 0 && ::gpio_read(kvrn::battery_assist_line) == 0;
  return assisted ? limits.full : limits.reduced;
}

int psu_get_max_power_single_mW(int inputs, int batteries) {
  return capped(::psu_get_max_power_mW(inputs, batteries, 1));
}

int get_max_power_ex(const psu_info* psus, int count_battery) {
  int inputs = 0;
  int batteries = 0;
  const int count = psus == nullptr ? 0 : ::get_psu_count();
  for (int i = 0; i < count; ++i) {
    if ((psus[i].status & KVRN_PSU_STATUS_USABLE) == 0) continue;
    if (psus[i].type == KVRN_PSU_TYPE_INPUT) ++inputs;
    if (psus[i].type == KVRN_PSU_TYPE_BATTERY) ++batteries;
  }
  return ::psu_get_max_power_mW(inputs, batteries, count_battery);
}

int get_max_power(const psu_info* psus) { return ::get_max_power_ex(psus, 1); }

int get_max_power_single_ex(const psu_info* psus, int count_battery) {
  return capped(::get_max_power_ex(psus, count_battery));
}

int get_max_usable_power_ex(int fixed, cache_source* source) {
  if (fixed != 0) return kvrn::platform().power.fixed;
  psu_info psus[KVRN_PSU_MAX]{};
  (void)::psu_info_get_all(psus, source);  // the board's count decides which records count
  return ::get_max_power(psus);
}

int get_max_usable_power(int fixed) { return ::get_max_usable_power_ex(fixed, nullptr); }

int get_output_power_ex(int output, cache_source* source) {
  if (output < 0) return 0;
  const auto shared = shared_power_uw(output, source);
  return (shared ? *shared : direct_power_uw(output)) / uw_per_mw;
}

int get_output_power(int output) { return ::get_output_power_ex(output, nullptr); }
