// SPDX-License-Identifier: MIT
#include <fmt/chrono.h>
#include <fmt/core.h>

#include <array>
#include <cmath>

#include "board/platform.hpp"
#include "psu/readout.hpp"
#include "tools/kvrnctl/cache_probe.hpp"
#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

// SBS batteries answer 65535 minutes when a time does not apply: an empty time while charging, a full one while not.
constexpr std::int32_t no_time_s = 65535 * 60;

json number(std::int32_t value) { return value == KVRN_PSU_UNKNOWN_I32 ? json(nullptr) : json(value); }
json temperature(std::int8_t value) { return value == KVRN_PSU_UNKNOWN_TEMP ? json(nullptr) : json(int{value}); }

json percent(float value) {
  if (value == KVRN_PSU_UNKNOWN_PCT || !std::isfinite(value)) return nullptr;
  return std::round(static_cast<double>(value) * 10) / 10;
}

json date(std::int64_t value) {
  if (value == KVRN_PSU_UNKNOWN_TIME) return nullptr;
  const auto time = static_cast<std::time_t>(value);
  std::tm utc{};
  if (::gmtime_r(&time, &utc) == nullptr) return nullptr;
  return fmt::format("{:%Y-%m-%d}", utc);
}

bool has(std::uint8_t flags, int bit) { return (flags & bit) != 0; }

json state(const psu_info& psu) {
  if (psu.type == KVRN_PSU_TYPE_EMPTY) return "empty slot";
  if (psu.type == KVRN_PSU_TYPE_INPUT) return has(psu.status, KVRN_PSU_STATUS_USABLE) ? "mains on" : "no mains";
  if (!has(psu.battery_status, KVRN_PSU_BATTERY_PRESENT)) return "absent";
  if (has(psu.battery_status, KVRN_PSU_BATTERY_CHARGING)) return "charging";
  // As much as a charging current is at least: less is the monitor's noise.
  if (psu.current_ma > -kvrn::charging_threshold_ma) return "discharging";
  if (has(psu.battery_status, KVRN_PSU_BATTERY_CHARGE_UNKNOWN)) return nullptr;
  return "not charging";
}

// Only some boards' supplies tell anything.
void add_supply(json& out, const psu_info& psu) {
  if (!kvrn::platform_of(::board_identify()->system_id).slots) return;
  const bool read = has(psu.supply_status, KVRN_PSU_SUPPLY_TELEMETRY);
  out["output_voltage_mv"] = read ? number(psu.supply_vout_mv) : json(nullptr);
  out["output_current_ma"] = read ? number(psu.supply_iout_ma) : json(nullptr);
  out["temperature_c"] = read ? temperature(psu.supply_temp_c) : json(nullptr);
}

void add_battery(json& out, const psu_info& psu) {
  const bool present = has(psu.battery_status, KVRN_PSU_BATTERY_PRESENT);
  const bool unknown_charge = has(psu.battery_status, KVRN_PSU_BATTERY_CHARGE_UNKNOWN);
  const bool smart = psu.battery_kind == KVRN_PSU_BATTERY_SMART;
  out["kind"] = smart ? "smart" : "hwmon";
  out["present"] = present;
  out["charging"] = unknown_charge ? json(nullptr) : json(has(psu.battery_status, KVRN_PSU_BATTERY_CHARGING));
  out["mains"] = has(psu.status, KVRN_PSU_STATUS_MAINS);
  out["charger_enabled"] = has(psu.status, KVRN_PSU_STATUS_CHARGER);
  out["highest_charging_current"] = has(psu.status, KVRN_PSU_STATUS_HIGH_CURRENT);
  out["voltage_mv"] = present ? number(psu.voltage_mv) : json(nullptr);
  out["current_ma"] = present ? number(psu.current_ma) : json(nullptr);
  out["max_charge_power_mw"] = std::uint32_t{psu.max_charge_power_mw};
  if (!smart) return;  // nothing measures the rest
  out["charge_pct"] = percent(psu.charge_pct);
  out["temperature_c"] = temperature(psu.battery_temp_c);
  if (psu.time_to_empty_s != no_time_s) out["time_to_empty_s"] = number(psu.time_to_empty_s);
  if (psu.time_to_full_s != no_time_s) out["time_to_full_s"] = number(psu.time_to_full_s);
  out["full_capacity_mah"] = number(psu.full_capacity_mah);
  out["design_capacity_mah"] = number(psu.design_capacity_mah);
  out["cycle_count"] = number(psu.cycle_count);
  out["charge_state"] = psu.charge_state == 0 ? json(nullptr) : json(std::int32_t{psu.charge_state});
  out["manufacture_date"] = date(psu.manufacture_time);
  out["block_51"] = number(psu.sbs_block_51);
  out["block_55"] = number(psu.sbs_block_55);
  json cells = json::array();
  for (std::uint32_t i = 0; i < psu.cell_count && i < std::size(psu.cell_mv); ++i)
    cells.push_back({{"id", i + 1}, {"voltage_mv", number(psu.cell_mv[i])}});
  out["cells"] = std::move(cells);
}

// The cache's part of a reading; `exit` says whether it may be used.
void read_cache(PsuReading& reading) {
  const auto& spec = kvrn::psu_cache_file;
  const CacheProbe probe = probe_cache(spec);
  reading.source = image_source(spec, probe);
  psu_info_view view{};
  if (::get_psu_info_cache_data(&view) == 0) {
    const bool stale = probe.whole && !probe.fresh();
    reading.exit = stale ? Exit::stale : Exit::failed;
    const bool aged = stale && probe.age_s && !probe.in_future();
    reading.error = fmt::format("{}: {}{}", spec.path, probe.text(), aged ? ", more than 10 s: not used" : "");
    return;
  }
  std::array<psu_info, KVRN_PSU_MAX> records{};
  const auto size = static_cast<ssize_t>(sizeof records);
  if (::pread(view.fd, records.data(), sizeof records, 0) == size) {
    reading.records.assign(records.begin(), records.begin() + view.count);
  } else {
    reading.exit = Exit::failed;
    reading.error = fmt::format("{}: cut short while it was read", spec.path);
  }
  ::psu_info_cache_data_free(&view);
}

void read_direct(PsuReading& reading) {
  const int count = ::get_psu_count();
  reading.records.resize(static_cast<std::size_t>(count));
  for (int psu = 0; psu < count; ++psu) ::psu_info_get_direct(&reading.records[static_cast<std::size_t>(psu)], psu);
}

}  // namespace

PsuReading read_psus(Source source) {
  PsuReading reading;
  std::string reason;
  if (source != Source::direct) {
    read_cache(reading);
    if (reading.exit == Exit::ok || source == Source::cache) return reading;
    reason = std::exchange(reading.error, {});
    reading.exit = Exit::ok;
  }
  reading.source = {{"kind", "direct"}, {"path", nullptr}, {"age_s", 0}};
  if (!reason.empty()) reading.source["reason"] = reason;
  read_direct(reading);
  return reading;
}

namespace {

json psu_section(const psu_info& psu, std::size_t id) {
  static constexpr std::array<const char*, 3> types{"empty", "input", "battery"};
  json out{{"id", id},
           {"type", psu.type < types.size() ? types[psu.type] : "unknown"},
           {"state", state(psu)},
           {"usable", has(psu.status, KVRN_PSU_STATUS_USABLE)}};
  if (psu.type == KVRN_PSU_TYPE_BATTERY)
    add_battery(out, psu);
  else
    add_supply(out, psu);
  return out;
}

}  // namespace

json psu_list(const PsuReading& reading, bool batteries_only, std::vector<std::string>& errors) {
  json list = json::array();
  for (std::size_t id = 0; id < reading.records.size(); ++id) {
    const psu_info& record = reading.records[id];
    if (batteries_only && record.type != KVRN_PSU_TYPE_BATTERY) continue;
    json psu = psu_section(record, id);
    if (reading.source["kind"] == "direct") note_failures(psu, errors);
    list.push_back(std::move(psu));
  }
  return list;
}

}  // namespace kvrnctl
