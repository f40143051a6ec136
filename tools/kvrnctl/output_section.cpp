// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <fmt/core.h>
#include <kvrn/status.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "tools/kvrnctl/power_sections.hpp"
#include "tools/observe/meanings.hpp"
#include "util/handle.hpp"
#include "util/read_file.hpp"

namespace kvrnctl {
namespace {

using Reads = std::vector<observe::Seen>;

constexpr std::array<const char*, 6> state_names{"normal", "shed", "overload", "protected", "idle", "configured off"};

// For an output that is switched off, the monitor also reports 0 or 4, depending on the load.
json output_state_name(std::int32_t state, bool enabled) {
  if (state < 0 || static_cast<std::size_t>(state) >= state_names.size()) return nullptr;
  if (!enabled && (state == 0 || state == 4)) return "off";
  return state_names[static_cast<std::size_t>(state)];
}

// 0 and negative numbers mean off. 1 is a request that keeps the output off. 2 means not configured: the output is on.
json configured(int output) { return ::is_dc_out_cfg_enabled(output) >= 2 ? json("on") : json("off"); }

// Only the monitor decides the state of an output. Without it, only the readings and the switch are known.
json direct_section(const Reads& seen, int id, bool on, std::int64_t voltage_mv, std::int64_t current_ma) {
  const auto unknown = [&](kvrn_fact fact) { return is_unknown(seen, KVRN_SUBJECT_OUTPUT, id, fact); };
  const bool no_voltage = unknown(KVRN_FACT_VOLTAGE);
  const bool no_current = unknown(KVRN_FACT_CURRENT);
  const bool no_switch = unknown(KVRN_FACT_SWITCHED);
  return {{"id", id},
          {"enabled", no_switch ? json(nullptr) : json(on && ::get_dc_hwprotect_error(id) == 0)},
          {"state", on ? json(nullptr) : json("off")},
          {"state_code", nullptr},
          {"configured", configured(id)},
          {"voltage_mv", no_voltage ? json(nullptr) : json(voltage_mv)},
          {"current_ma", no_current ? json(nullptr) : json(current_ma)},
          {"power_mw", no_voltage || no_current ? json(nullptr) : milliwatts(voltage_mv * current_ma)}};
}

void add_drawn(OutputReading& reading, const json& output, std::int64_t microwatts) {
  if (output["power_mw"].is_null())
    reading.drawn_uw.reset();
  else if (reading.drawn_uw)
    *reading.drawn_uw += microwatts;
}

void read_direct(OutputReading& reading) {
  for (int id = 0; id < output_count(); ++id) {
    const auto output = static_cast<std::uint32_t>(id);
    const observe::Observer observer;
    const bool on = ::is_dc_out_enabled(id) != 0;
    const int voltage_mv = ::isl28022_read_voltage_id_direct(output);
    const int current_ma = ::isl28022_read_current_id_direct(output);
    reading.list.push_back(direct_section(observer.seen(), id, on, voltage_mv, current_ma));
    add_drawn(reading, reading.list.back(), std::int64_t{voltage_mv} * current_ma);
    note_failures(observer.seen(), reading.errors);
  }
}

}  // namespace

json milliwatts(std::int64_t microwatts) { return static_cast<double>(microwatts) / 1000; }

json output_section(const output_status& output, int id) {
  return {{"id", id},
          {"enabled", output.enabled != 0},
          {"state", output_state_name(output.state, output.enabled != 0)},
          {"state_code", std::int32_t{output.state}},
          {"configured", configured(id)},
          {"voltage_mv", std::int32_t{output.voltage_mv}},
          {"current_ma", std::int32_t{output.current_ma}},
          {"power_mw", milliwatts(output.power_uw)}};
}

OutputReading read_outputs() {
  OutputReading reading;
  reading.list = json::array();
  output_view view{};
  std::array<output_status, KVRN_OUTPUT_MAX> records{};
  bool whole = false;
  Reads seen;
  {
    const observe::Observer observer;
    if (::get_output_cache_data(&view) != 0) {
      whole = ::pread(view.fd, records.data(), sizeof records, 0) == static_cast<ssize_t>(sizeof records);
      ::output_cache_data_free(&view);
    }
    seen = observer.seen();
  }
  for (int id = 0; whole && id < output_count(); ++id) {
    const output_status& record = records[static_cast<std::size_t>(id)];
    reading.list.push_back(output_section(record, id));
    add_drawn(reading, reading.list.back(), record.power_uw);
  }
  if (!whole) read_direct(reading);
  reading.source = source_of(image_of(seen, KVRN_FACT_OUTPUT_RECORDS), !whole);
  return reading;
}

namespace {

// The library expects a fixed number of records, whatever the board has.
std::array<psu_info, KVRN_PSU_MAX> records_of(const PsuReading& reading) {
  std::array<psu_info, KVRN_PSU_MAX> records{};
  std::ranges::copy(reading.records, records.begin());
  return records;
}

// The power, in mW, that all charging batteries may take. Null when it is unknown whether one of them is charging.
json charging_power(const json& psus) {
  std::int64_t sum = 0;
  for (const json& psu : psus) {
    if (psu["type"] != "battery") continue;
    if (psu["charging"].is_null()) return nullptr;
    if (psu["charging"] == true) sum += psu["max_charge_power_mw"].get<std::int64_t>();
  }
  return sum;
}

json inputs_with_mains(const json& psus) {
  int count = 0;
  for (const json& psu : psus) {
    if (psu["type"] == "battery") continue;
    if (psu["usable"].is_null()) return nullptr;
    count += psu["usable"] == true ? 1 : 0;
  }
  return count;
}

}  // namespace

json budget_section(const PsuReading& psus, const OutputReading& outputs, Errors& errors) {
  const json sources = psu_list(psus, false, errors);
  errors.insert(errors.end(), outputs.errors.begin(), outputs.errors.end());
  const bool known = std::ranges::none_of(sources, [](const json& psu) { return psu["usable"].is_null(); });
  const observe::Observer observer;
  const int available = ::get_max_power(records_of(psus).data());
  note_failures(observer.seen(), errors);
  const bool counted = known && !is_unknown(observer.seen(), KVRN_SUBJECT_DEVICE, 0, KVRN_FACT_ASSIST);
  const auto figure = [&](std::int64_t value) { return counted ? json(value) : json(nullptr); };
  json out = json::object();
  if (available != 0) {
    out["available_mw"] = figure(available);
    out["single_supply_limit_mw"] = figure(std::min(available, KVRN_MAX_SINGLE_POWER_MW));
  }
  out["drawn_mw"] = outputs.drawn_uw ? json(*outputs.drawn_uw / 1000) : json(nullptr);
  if (available != 0)
    out["free_mw"] = out["drawn_mw"].is_null() ? json(nullptr) : figure(available - out["drawn_mw"].get<int>());
  out["inputs_with_mains"] = inputs_with_mains(sources);
  if (::get_psu_count() > 2) out["charging_mw"] = charging_power(sources);
  return out;
}

json state_section(const PsuReading& psus, Errors& errors) {
  const json sources = psu_list(psus, false, errors);
  const observe::Observer observer;
  const int code = ::get_device_state(records_of(psus).data());
  Errors unread;
  note_failures(observer.seen(), unread);
  errors.insert(errors.end(), unread.begin(), unread.end());
  const bool known = unread.empty() && std::ranges::none_of(sources, [](const json& psu) {
                       return psu["usable"].is_null() || psu.value("charging", json(false)).is_null();
                     });
  if (!known) return {{"code", nullptr}, {"meaning", nullptr}};
  const char* meaning = observe::device_state_meaning(code);
  json out{{"code", code}, {"meaning", meaning == nullptr ? json(nullptr) : json(meaning)}};
  for (int psu = 2; code == KVRN_DEVICE_LOW_VOLTAGE && psu < ::get_psu_count(); ++psu)
    if (lacks_estimate(psu)) out["note"] = no_estimate;
  return out;
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
  if (charge == unknown) return {{"estimated_charge_pct", nullptr}, {"estimated_time_s", nullptr}};
  return {{"estimated_charge_pct", charge}, {"estimated_time_s", time_s}};
}

json capacity_section(Errors& errors) {
  const observe::Observer observer;
  json out{{"capacity_mah", ::read_lcm_battery_capacity_mah()}};
  json list = json::array();
  for (int psu = 2; psu < ::get_psu_count(); ++psu) {
    json entry{{"id", psu}};
    entry.update(battery_estimate(psu));
    int32_t percentage = 100;
    const int calibrating = ::read_battery_calibrating(psu, &percentage);
    const int resistance = ::get_battery_internal_resistance(psu);
    entry.update({{"internal_resistance", resistance == 0 ? json(nullptr) : json(resistance)},
                  {"calibrating", calibrating != 0}});
    if (calibrating != 0) entry["calibration_pct"] = percentage;
    list.push_back(std::move(entry));
  }
  out["batteries"] = std::move(list);
  note_failures(observer.seen(), errors);
  return out;
}

}  // namespace kvrnctl
