// SPDX-License-Identifier: MIT
#include <kvrn/kvrn.hpp>

#include <algorithm>
#include <memory>

#include "tools/kvrnctl/power_sections.hpp"
#include "tools/kvrnctl/sensors.hpp"

namespace kvrnctl {
namespace {

// Gives the summary the records that were already read. The summary does not report where its own records come from.
int hand_out(cache_source* self, void* view) {
  const auto& records = *static_cast<std::vector<psu_info>*>(self->state);
  *static_cast<psu_info_view*>(view) = {records.data(), ::get_psu_count(), 0};
  return 1;
}

json not_negative(const json& value) { return value.is_null() || value < 0 ? json(nullptr) : value; }

// A readout of the hardware has already read the charger's file. A readout from the cache has not.
bool read_flags(int psu, const std::vector<observe::Seen>& seen, std::uint32_t& flags) {
  std::int32_t charge_mah = 0;
  const auto charger = std::ranges::find_if(seen, [psu](const observe::Seen& read) {
    return read.what.kind == KVRN_SOURCE_FILE && read.is(KVRN_SUBJECT_PSU, psu, KVRN_FACT_CHARGER);
  });
  if (charger == seen.end()) return ::read_battery_flags(psu, &flags, &charge_mah) != 0;
  return ::kvrn_battery_flags(psu, !charger->answered() || charger->what.value > 0 ? 1 : 0, &flags) != 0;
}

// What other programs keep in files about a battery, as in the SNMP tree: null unless the battery itself was read.
json battery_files(const psu_info& psu, const std::vector<observe::Seen>& seen) {
  json out{{"estimated_charge_pct", nullptr}, {"estimated_time_s", nullptr}, {"error", nullptr}};
  if ((psu.battery_status & KVRN_PSU_BATTERY_VALID) == 0) return out;
  const int id = static_cast<int>(psu.id);
  const json estimate = battery_estimate(id);
  for (const char* key : {"estimated_charge_pct", "estimated_time_s"}) out[key] = not_negative(estimate[key]);
  std::uint32_t flags = 0;
  if (read_flags(id, seen, flags)) out["error"] = ::is_battery_status_error_flag(flags) != 0;
  return out;
}

json output_list(const sensors_info& info) {
  json list = json::array();
  for (int id = 0; id < info.output_count && id < KVRN_OUTPUT_MAX; ++id) {
    json output = output_section(info.output[id], id);
    output["max_power_mw"] = milliwatts(info.output[id].max_power);
    list.push_back(std::move(output));
  }
  return list;
}

json board_temperatures(const sensors_info& info) {
  json list = json::array();
  for (const std::int32_t temp : info.board_temp)
    if (temp != KVRN_NO_BOARD_SENSOR) list.push_back({{"sensor", list.size() + 1}, {"temperature_c", temp}});
  return list;
}

// When the file is missing, the summary has 0: null is correct.
json power_meter(const sensors_info& info, const std::vector<observe::Seen>& seen) {
  const auto read =
      std::ranges::find_if(seen, [](const observe::Seen& entry) { return entry.what.fact == KVRN_FACT_POWER_METER; });
  const bool written = read != seen.end() && read->answered();
  return written ? json(static_cast<std::uint32_t>(info.power_meter)) : json(nullptr);
}

}  // namespace

SensorReading read_sensors() {
  SensorReading reading;
  PsuReading psus = read_psus(Source::automatic);
  json psu_sections = psu_list(psus, false, reading.errors);
  for (std::size_t id = 0; id < psus.records.size(); ++id)
    if (psu_sections[id]["type"] == "battery") psu_sections[id].update(battery_files(psus.records[id], psus.seen));
  reading.psu_source = psus.source;
  reading.psus = psus;
  psus.records.resize(KVRN_PSU_MAX);
  cache_source source{&psus.records, nullptr, hand_out, nullptr};
  const observe::Observer observer;
  const kvrnpp::Owned<sensors_info, sensors_info_free> info(::sensors_info_get_ex(1, nullptr, &source));
  if (!info) return reading;
  reading.output_source = source_of(image_of(observer.seen(), KVRN_FACT_OUTPUT_RECORDS), false);
  reading.section = {{"psus", psu_sections},
                     {"outputs", output_list(*info)},
                     {"board_temperatures", board_temperatures(*info)},
                     {"power_meter", power_meter(*info, observer.seen())},
                     {"locate_led", info->locate_led != 0},
                     {"psu_data_stable", info->psu_data_stable != 0}};
  return reading;
}

}  // namespace kvrnctl
