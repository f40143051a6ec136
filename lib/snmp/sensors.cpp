// SPDX-License-Identifier: MIT
// The sensor summary: one heap block with all values that a monitoring client shows.
#include <kvrn/snmp.h>
#include <sys/stat.h>

#include <algorithm>
#include <span>

#include "cache/view.hpp"
#include "hw/output_monitor.hpp"
#include "psu/budget.hpp"
#include "psu/readout.hpp"
#include "snmp/sensors.hpp"
#include "util/handle.hpp"
#include "util/read_file.hpp"

namespace {

int exists(const char* path) {
  struct stat status {};
  return ::stat(path, &status) == 0 ? 1 : 0;
}

void read_board_temps(std::span<int32_t, KVRN_BOARD_TEMPS> out) {
  std::ranges::fill(out, KVRN_NO_BOARD_SENSOR);
  std::ranges::copy(kvrn::board_temperatures(), out.begin());
}

void copy_outputs(const output_view& view, sensors_info& out) {
  const auto entries = static_cast<std::size_t>(std::clamp(view.count, 0, KVRN_OUTPUT_MAX));
  output_status records[KVRN_OUTPUT_MAX]{};
  if (!kvrn::copy_records(view, std::as_writable_bytes(std::span(records, entries)))) return;
  std::copy(std::begin(records), std::end(records), out.output);
  out.output_count = view.count;
}

}  // namespace

namespace kvrn {

sensors_info* read_sensors(int with_board_temps, cache_source* outputs, cache_source* psus) {
  Heap<sensors_info> info(static_cast<sensors_info*>(::calloc(1, sizeof(sensors_info))));
  if (!info) return nullptr;
  if (with_board_temps != 0) read_board_temps(info->board_temp);
  info->power_meter = static_cast<int32_t>(
      read_number("/tmp/.power_meter", parse_u, reading(KVRN_SOURCE_FILE, KVRN_FACT_POWER_METER)).value.value_or(0));
  (void)with_outputs(outputs, [&](const output_view& view) { copy_outputs(view, *info); });
  info->locate_led = exists("/tmp/.led-status-loc");
  (void)read_sources(info->psu, psus);  // records that are not filled stay zero
  const int limit_uw = single_supply_mw(info->psu, 0) * kvrn::uw_per_mw;
  for (output_status& entry : entries(*info)) entry.max_power = limit_uw;
  info->psu_data_stable = exists("/tmp/.psu_data_stable");
  return info.release();
}

}  // namespace kvrn

sensors_info* sensors_info_get_ex(int with_board_temps, cache_source* outputs, cache_source* psus)
    KVRN_DOOR(read_sensors);

sensors_info* sensors_info_get(int with_board_temps) { return kvrn::read_sensors(with_board_temps, nullptr, nullptr); }

void sensors_info_free(sensors_info* info) { ::free(info); }

int getBoardTemps(int32_t** temps, int* count) {
  if (temps == nullptr || count == nullptr) return -1;
  *temps = nullptr;
  *count = 0;
  return 0;
}
