// SPDX-License-Identifier: MIT
#include <memory>

#include "tools/kvrnctl/cache_probe.hpp"
#include "tools/kvrnctl/power_sections.hpp"
#include "tools/kvrnctl/sensors.hpp"

namespace kvrnctl {
namespace {

constexpr int no_sensor = -127;

struct FreeSummary {
  void operator()(sensors_info* info) const { ::sensors_info_free(info); }
};

// Hands the summary the records that were read already: it does not tell where its own come from.
int hand_out(cache_source* self, void* view) {
  const auto& records = *static_cast<std::vector<psu_info>*>(self->state);
  *static_cast<psu_info_view*>(view) = {records.data(), ::get_psu_count(), 0};
  return 1;
}

json output_list(const sensors_info& info) {
  json list = json::array();
  for (int id = 0; id < info.output_count && id < KVRN_OUTPUT_MAX; ++id) {
    json output = output_section(info.output[id], id);
    output["max_power_uw"] = std::int32_t{info.output[id].max_power};
    list.push_back(std::move(output));
  }
  return list;
}

json board_temperatures(const sensors_info& info) {
  json list = json::array();
  for (const std::int32_t temp : info.board_temp)
    if (temp != no_sensor) list.push_back({{"id", list.size() + 1}, {"temperature_c", temp}});
  return list;
}

}  // namespace

SensorReading read_sensors() {
  SensorReading reading;
  PsuReading psus = read_psus(Source::automatic);
  const json psu_sections = psu_list(psus, false, reading.errors);
  reading.psu_source = psus.source;
  psus.records.resize(KVRN_PSU_MAX);
  cache_source source{&psus.records, nullptr, hand_out, nullptr};
  const CacheProbe probe = probe_cache(kvrn::output_cache_file);
  const std::unique_ptr<sensors_info, FreeSummary> info(::sensors_info_get_ex(1, nullptr, &source));
  if (!info) return reading;
  if (info->output_count > 0)
    reading.output_source = {{"kind", "cache"},
                             {"path", kvrn::output_cache_file.path},
                             {"age_s", probe.age_s ? json(*probe.age_s) : json(nullptr)},
                             {"fresh", probe.fresh()}};
  else
    reading.output_reason = std::string(kvrn::output_cache_file.path) + ": " + probe.text();
  reading.section = {{"psus", psu_sections},
                     {"outputs", output_list(*info)},
                     {"board_temperatures", board_temperatures(*info)},
                     {"power_meter", static_cast<std::uint32_t>(info->power_meter)},
                     {"locate_led", info->locate_led != 0},
                     {"psu_data_stable", info->psu_data_stable != 0}};
  return reading;
}

}  // namespace kvrnctl
