// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <fmt/core.h>
#include <kvrn/status.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "tools/kvrnctl/cache_probe.hpp"
#include "tools/kvrnctl/power_sections.hpp"
#include "util/handle.hpp"
#include "util/read_file.hpp"

namespace kvrnctl {
namespace {

constexpr std::array<const char*, 6> state_names{"normal",        "shed", "overload", "protected", "idle, below 0.9 W",
                                                 "configured off"};

// The monitor tells by the load, 0 or 4, also of an output that is switched off.
json output_state_name(std::int32_t state, bool enabled) {
  if (state < 0 || static_cast<std::size_t>(state) >= state_names.size()) return nullptr;
  if (!enabled && (state == 0 || state == 4)) return "off";
  return state_names[static_cast<std::size_t>(state)];
}

// What is configured: 0 and negative numbers are off, 1 is a request that keeps the output off, 2 is not configured.
json configured(int output) { return ::is_dc_out_cfg_enabled(output) >= 2 ? json("on") : json("off"); }

// Without the monitor the state is nobody's decision: the readings and the switch are all there is.
json direct_section(int id) {
  const auto output = static_cast<std::uint32_t>(id);
  const bool on = ::is_dc_out_enabled(id) != 0;
  return {{"id", id},
          {"enabled", on && ::get_dc_hwprotect_error(id) == 0},
          {"state", on ? json(nullptr) : json("off")},
          {"state_code", nullptr},
          {"configured", configured(id)},
          {"voltage_mv", ::isl28022_read_voltage_id_direct(output)},
          {"current_ma", ::isl28022_read_current_id_direct(output)},
          {"power_uw", ::isl28022_read_power_id_direct(output)}};
}

}  // namespace

json output_section(const output_status& output, int id) {
  return {{"id", id},
          {"enabled", output.enabled != 0},
          {"state", output_state_name(output.state, output.enabled != 0)},
          {"state_code", std::int32_t{output.state}},
          {"configured", configured(id)},
          {"voltage_mv", std::int32_t{output.voltage_mv}},
          {"current_ma", std::int32_t{output.current_ma}},
          {"power_uw", std::int32_t{output.power_uw}}};
}

OutputReading read_outputs() {
  OutputReading reading;
  reading.list = json::array();
  const CacheProbe probe = probe_cache(kvrn::output_cache_file);
  output_view view{};
  if (::get_output_cache_data(&view) != 0) {
    std::array<output_status, KVRN_OUTPUT_MAX> records{};
    const bool whole = ::pread(view.fd, records.data(), sizeof records, 0) == static_cast<ssize_t>(sizeof records);
    for (int id = 0; whole && id < view.count; ++id)
      reading.list.push_back(output_section(records[static_cast<std::size_t>(id)], id));
    ::output_cache_data_free(&view);
    reading.source = image_source(kvrn::output_cache_file, probe);
    if (whole) return reading;
  }
  int count = 0;
  (void)::get_dc_out_addrs(&count);
  for (int id = 0; id < count; ++id) reading.list.push_back(direct_section(id));
  reading.source = {{"kind", "direct"},
                    {"path", nullptr},
                    {"age_s", 0},
                    {"fresh", true},
                    {"reason", fmt::format("{}: {}", kvrn::output_cache_file.path, probe.text())}};
  return reading;
}

namespace {

// As many records as the library expects, whatever the board has.
std::array<psu_info, KVRN_PSU_MAX> records_of(const PsuReading& reading) {
  std::array<psu_info, KVRN_PSU_MAX> records{};
  std::ranges::copy(reading.records, records.begin());
  return records;
}

}  // namespace

namespace {

// What the batteries may take that are charging now.
std::int64_t charging_power(const PsuReading& psus) {
  std::int64_t sum = 0;
  for (const psu_info& psu : psus.records)
    if (psu.type == KVRN_PSU_TYPE_BATTERY && (psu.battery_status & KVRN_PSU_BATTERY_CHARGING) != 0)
      sum += std::uint32_t{psu.max_charge_power_mw};
  return sum;
}

}  // namespace

json budget_section(const PsuReading& psus) {
  const auto records = records_of(psus);
  const int available = ::get_max_power(records.data());
  const int drawn = ::get_output_power(0);
  json out = json::object();
  if (available != 0) {
    out["available_mw"] = available;
    out["single_supply_limit_mw"] = ::get_max_power_single_ex(records.data(), 1);
  }
  out["drawn_mw"] = drawn;
  if (available != 0) out["free_mw"] = available - drawn;
  out["inputs_with_mains"] = ::psu_info_ac_connected();
  if (::get_psu_count() > 2) out["charging_mw"] = charging_power(psus);
  return out;
}

json state_section(const PsuReading& psus) {
  static constexpr std::array<const char*, 15> meanings{"running on mains, battery idle",
                                                        "running on battery",
                                                        nullptr,
                                                        nullptr,
                                                        "battery low",
                                                        "outputs off, or no source",
                                                        "mains failed on the first input",
                                                        "mains failed on the second input",
                                                        "outputs overloaded",
                                                        "output stopped by its protection",
                                                        "charging",
                                                        "charging with the highest current",
                                                        "calibrating the battery",
                                                        "battery error",
                                                        "running on mains, no battery or a battery outage"};
  const int code = ::get_device_state(records_of(psus).data());
  const bool named = code >= 0 && static_cast<std::size_t>(code) < meanings.size() &&
                     meanings[static_cast<std::size_t>(code)] != nullptr;
  json out{{"code", code}, {"meaning", named ? json(meanings[static_cast<std::size_t>(code)]) : json(nullptr)}};
  for (int psu = 2; code == 4 && psu < ::get_psu_count(); ++psu)
    if (lacks_estimate(psu)) out["note"] = no_estimate;
  return out;
}

bool note_unreadable(const char* path, std::vector<std::string>& errors) {
  const kvrn::Fd fd = kvrn::Fd::open(path, O_RDONLY | O_NONBLOCK);
  char byte = 0;
  if (fd ? ::read(fd.get(), &byte, 1) >= 0 : errno == ENOENT) return true;
  errors.push_back(fmt::format("{}: {}", path, errno_text(errno)));
  return false;
}

bool has_battery_file(const char* base, int psu) {
  return ::access(::get_filename_bat_psu_id(base, psu - 2), F_OK) == 0;
}

bool lacks_estimate(int psu) {
  char name[64];
  const char* flag = ::get_status_file(name, psu, "");
  return !has_battery_file(battery_info, psu) && kvrn::read_number(flag, kvrn::parse_d).value.value_or(0) == 0;
}

json battery_estimate(int psu) {
  constexpr int unknown = -2;
  int32_t time_s = 0;
  int32_t third = 0;
  const int charge = has_battery_file(battery_info, psu) ? ::get_battery_data(psu, &time_s, &third) : unknown;
  if (charge == unknown) return {{"charge_pct", nullptr}, {"time_s", nullptr}};
  return {{"charge_pct", charge}, {"time_s", time_s}};
}

json capacity_section(std::vector<std::string>& errors) {
  const std::int64_t capacity = ::read_lcm_battery_capacity_mah();
  json out{{"capacity_mah", capacity}};
  json list = json::array();
  for (int psu = 2; psu < ::get_psu_count(); ++psu) {
    int32_t percentage = 100;
    for (const char* base :
         {battery_info, "/tmp/.calibrating", "/etc/persistent/battery_data", "/etc/persistent/battery_data2"})
      (void)note_unreadable(::get_filename_bat_psu_id(base, psu - 2), errors);
    json entry{{"id", psu}};
    entry.update(battery_estimate(psu));
    const int calibrating = ::read_battery_calibrating(psu, &percentage);
    const int resistance = ::get_battery_internal_resistance(psu);
    entry.update({{"internal_resistance", resistance == 0 ? json(nullptr) : json(resistance)},
                  {"calibrating", calibrating != 0}});
    if (calibrating != 0) entry["calibration_pct"] = percentage;
    list.push_back(std::move(entry));
  }
  out["batteries"] = std::move(list);
  return out;
}

}  // namespace kvrnctl
