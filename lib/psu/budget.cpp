// SPDX-License-Identifier: MIT
// Computes how much power the board may draw, and how much power the outputs deliver.
#include "psu/budget.hpp"

#include <algorithm>
#include <optional>

#include "board/platform.hpp"
#include "cache/view.hpp"
#include "hw/gpio.hpp"
#include "hw/output_monitor.hpp"
#include "psu/readout.hpp"
#include "util/number.hpp"

namespace {

int capped(int power_mw) { return std::min(power_mw, KVRN_MAX_SINGLE_POWER_MW); }

// The power in the records of a view: all outputs (0) or one output. The records are read one by one, because the view
// of a caller's own source may have any number of them. nullopt when a record cannot be read.
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

int max_power_mw(int inputs, int batteries, int count_battery) KVRN_INNER(max_power_mw);
int max_power_mw(int inputs, int batteries, int count_battery) {
  const kvrn::PowerLimits& limits = kvrn::platform().power;
  // Without a usable input the figure is also the full one: a battery alone feeds the outputs.
  if (limits.full == 0 || inputs != 1) return limits.full;
  const bool assisted =
      count_battery != 0 && batteries > 0 && kvrn::gpio::read(kvrn::battery_assist_line, KVRN_FACT_ASSIST) == false;
  return assisted ? limits.full : limits.reduced;
}

int max_usable_mw(int fixed, cache_source* source) KVRN_INNER(max_usable_mw);
int max_usable_mw(int fixed, cache_source* source) {
  if (fixed != 0) return kvrn::platform().power.fixed;
  psu_info records[KVRN_PSU_MAX]{};
  (void)kvrn::read_sources(records, source);  // available_mw() uses the count of the board
  return kvrn::available_mw(records, 1);
}

int output_power_mw(int output, cache_source* source) KVRN_INNER(output_power_mw);
int output_power_mw(int output, cache_source* source) {
  if (output < 0) return 0;
  const auto shared = shared_power_uw(output, source);
  if (shared) return *shared / kvrn::uw_per_mw;
  // Output 0 means all outputs.
  const auto id = static_cast<std::uint32_t>(output - 1);
  return (output == 0 ? kvrn::read_total_power_uw() : kvrn::read_power_uw(id)) / kvrn::uw_per_mw;
}

}  // namespace

namespace kvrn {

int available_mw(const psu_info* records, int count_battery) {
  int inputs = 0;
  int batteries = 0;
  const int count = records == nullptr ? 0 : source_count();
  for (int i = 0; i < count; ++i) {
    if ((records[i].status & KVRN_PSU_STATUS_USABLE) == 0) continue;
    if (records[i].type == KVRN_PSU_TYPE_INPUT) ++inputs;
    if (records[i].type == KVRN_PSU_TYPE_BATTERY) ++batteries;
  }
  return max_power_mw(inputs, batteries, count_battery);
}

int single_supply_mw(const psu_info* records, int count_battery) {
  return capped(available_mw(records, count_battery));
}

}  // namespace kvrn

int psu_get_max_power_mW(int inputs, int batteries, int count_battery) KVRN_DOOR(max_power_mw);

int psu_get_max_power_single_mW(int inputs, int batteries) { return capped(max_power_mw(inputs, batteries, 1)); }

int get_max_power_ex(const psu_info* psus, int count_battery) KVRN_DOOR(available_mw);

int get_max_power(const psu_info* psus) { return kvrn::available_mw(psus, 1); }

int get_max_power_single_ex(const psu_info* psus, int count_battery) KVRN_DOOR(single_supply_mw);

int get_max_usable_power_ex(int fixed, cache_source* source) KVRN_DOOR(max_usable_mw);

int get_max_usable_power(int fixed) { return max_usable_mw(fixed, nullptr); }

int get_output_power_ex(int output, cache_source* source) KVRN_DOOR(output_power_mw);

int get_output_power(int output) { return output_power_mw(output, nullptr); }
