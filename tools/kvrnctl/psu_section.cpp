// SPDX-License-Identifier: MIT
#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>

#include "board/platform.hpp"
#include "psu/readout.hpp"
#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

using Reads = std::vector<observe::Seen>;

// SBS batteries answer 65535 minutes when a time does not apply: the time to empty while the battery charges, the time
// to full while it does not.
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
  return fmt::format("{:04}-{:02}-{:02}", utc.tm_year + 1900LL, utc.tm_mon + 1, utc.tm_mday);
}

bool has(std::uint8_t flags, int bit) { return (flags & bit) != 0; }

const kvrn::PowerSource& row_of(const psu_info& psu) {
  const auto row = std::min<std::size_t>(psu.id, kvrn::most_sources - 1);
  return kvrn::platform_of(::board_identify()->system_id).sources[row];
}

// A source, and what was read for it.
struct SourceReads {
  const psu_info& psu;
  const Reads& seen;

  bool unknown(kvrn_fact fact) const { return is_unknown(seen, KVRN_SUBJECT_PSU, static_cast<int>(psu.id), fact); }
  json flag(int bit, std::uint8_t flags, bool unread) const { return unread ? json(nullptr) : json(has(flags, bit)); }

  // Whether a file answered in place of the line.
  bool overridden(kvrn_fact fact) const {
    return std::ranges::any_of(seen, [&](const observe::Seen& read) {
      return read.what.kind == KVRN_SOURCE_FILE && read.answered() &&
             read.is(KVRN_SUBJECT_PSU, static_cast<int>(psu.id), fact);
    });
  }
  bool charger_unknown() const { return unknown(KVRN_FACT_CHARGE_DISABLE); }

  // A smart battery that does not acknowledge its address is absent. After any other failure its presence is unknown.
  bool presence_unknown() const {
    if (psu.battery_kind != KVRN_PSU_BATTERY_SMART) return unknown(KVRN_FACT_PRESENT);
    if (has(psu.battery_status, KVRN_PSU_BATTERY_PRESENT)) return false;
    return !is_silent(seen, static_cast<int>(psu.id));
  }

  bool mains_unknown() const {
    return !has(psu.status, KVRN_PSU_STATUS_MAINS) && std::ranges::any_of(seen, [&](const observe::Seen& read) {
      return read.what.fact == KVRN_FACT_MAINS &&
             is_unknown(seen, KVRN_SUBJECT_PSU, read.what.subject_number, KVRN_FACT_MAINS);
    });
  }

  bool charging_unknown() const {
    if (has(psu.battery_status, KVRN_PSU_BATTERY_CHARGE_UNKNOWN) || presence_unknown()) return true;
    if (psu.battery_kind == KVRN_PSU_BATTERY_SMART || !has(psu.status, KVRN_PSU_STATUS_MAINS)) return mains_unknown();
    // The direction of the current decides, unless a file decides.
    return charger_unknown() || (unknown(KVRN_FACT_CURRENT) && !overridden(KVRN_FACT_CHARGING));
  }
};

json battery_state(const SourceReads& source, const json& charging) {
  const psu_info& psu = source.psu;
  if (source.presence_unknown()) return nullptr;
  if (!has(psu.battery_status, KVRN_PSU_BATTERY_PRESENT)) return "absent";
  if (charging == true) return "charging";
  if (source.unknown(KVRN_FACT_CURRENT)) return nullptr;
  // Discharging has the same threshold as charging. A smaller current is noise of the monitor.
  if (psu.current_ma > -kvrn::charging_threshold_ma) return "discharging";
  if (charging.is_null()) return nullptr;
  return "not charging";
}

json input_state(const SourceReads& source) {
  if (source.psu.type == KVRN_PSU_TYPE_EMPTY) return "empty slot";
  if (has(source.psu.status, KVRN_PSU_STATUS_USABLE)) return "mains on";
  return source.unknown(KVRN_FACT_MAINS) ? json(nullptr) : json("no mains");
}

// Only the supplies of some boards report measurements.
void add_supply(json& out, const SourceReads& source) {
  const psu_info& psu = source.psu;
  out["state"] = input_state(source);
  out["usable"] = source.flag(KVRN_PSU_STATUS_USABLE, psu.status, out["state"].is_null());
  if (row_of(psu).input.slot_line == 0) return;
  const bool read = has(psu.supply_status, KVRN_PSU_SUPPLY_TELEMETRY);
  out["voltage_mv"] = read ? number(psu.supply_vout_mv) : json(nullptr);
  out["current_ma"] = read ? number(psu.supply_iout_ma) : json(nullptr);
  out["temperature_c"] = read ? temperature(psu.supply_temp_c) : json(nullptr);
}

void add_smart_battery(json& out, const psu_info& psu) {
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
    cells.push_back({{"cell", i + 1}, {"voltage_mv", number(psu.cell_mv[i])}});
  out["cells"] = std::move(cells);
}

void add_battery(json& out, const SourceReads& source) {
  const psu_info& psu = source.psu;
  const bool present = has(psu.battery_status, KVRN_PSU_BATTERY_PRESENT);
  const bool smart = psu.battery_kind == KVRN_PSU_BATTERY_SMART;
  const bool unread = source.presence_unknown();
  const json charging = source.flag(KVRN_PSU_BATTERY_CHARGING, psu.battery_status, source.charging_unknown());
  const auto measured = [&](std::int32_t value, kvrn_fact fact) {
    return present && !source.unknown(fact) ? number(value) : json(nullptr);
  };
  out["state"] = battery_state(source, charging);
  out["usable"] = source.flag(KVRN_PSU_STATUS_USABLE, psu.status, unread);
  out["kind"] = smart ? "smart" : "hwmon";
  out["present"] = source.flag(KVRN_PSU_BATTERY_PRESENT, psu.battery_status, unread);
  out["charging"] = charging;
  out["mains"] = source.flag(KVRN_PSU_STATUS_MAINS, psu.status, source.mains_unknown());
  out["charger_enabled"] = source.flag(KVRN_PSU_STATUS_CHARGER, psu.status,
                                       source.charger_unknown() && !source.overridden(KVRN_FACT_CHARGER));
  out["highest_charging_current"] =
      source.flag(KVRN_PSU_STATUS_HIGH_CURRENT, psu.status, source.unknown(KVRN_FACT_CHARGING_CURRENT));
  out["voltage_mv"] = measured(psu.voltage_mv, KVRN_FACT_VOLTAGE);
  out["current_ma"] = measured(psu.current_ma, KVRN_FACT_CURRENT);
  out["max_charge_power_mw"] = std::uint32_t{psu.max_charge_power_mw};
  if (smart) add_smart_battery(out, psu);  // nothing measures these values of a hwmon battery
}

json psu_section(const SourceReads& source, std::size_t id) {
  static constexpr std::array<const char*, 3> types{"empty", "input", "battery"};
  const std::uint32_t type = source.psu.type;
  json out{{"id", id}, {"type", type < types.size() ? types[type] : "unknown"}};
  if (type == KVRN_PSU_TYPE_BATTERY)
    add_battery(out, source);
  else
    add_supply(out, source);
  return out;
}

void read_cache(PsuReading& reading) {
  psu_info_view view{};
  const observe::Observer observer;
  const bool opened = ::get_psu_info_cache_data(&view) != 0;
  reading.seen = observer.seen();
  const observe::Seen* image = image_of(reading.seen, KVRN_FACT_RECORDS);
  reading.source = source_of(image, false);
  reading.exit = Exit::failed;
  if (!opened) {
    const bool stale = image->what.outcome == KVRN_OUTCOME_STALE;
    const bool aged = stale && image->what.value >= 0 && image->what.value != KVRN_NEVER_REFRESHED;
    if (stale) reading.exit = Exit::stale;
    reading.error = fmt::format("{}: {}{}", image->path, image->answer(), aged ? ", more than 10 s: not used" : "");
    return;
  }
  std::array<psu_info, KVRN_PSU_MAX> records{};
  if (::pread(view.fd, records.data(), sizeof records, 0) == static_cast<ssize_t>(sizeof records)) {
    reading.records.assign(records.begin(), records.begin() + view.count);
    reading.exit = Exit::ok;
  } else {
    reading.error = fmt::format("{}: cut short while it was read", image->path);
  }
  ::psu_info_cache_data_free(&view);
}

}  // namespace

bool is_absent(const json& psu) {
  return psu.is_object() && (psu.value("present", json(true)) == false || psu.value("type", json("")) == "empty");
}

int read_hardware(psu_info* psus) {
  // When the caller's source has no data, the library reads the hardware.
  cache_source nothing{nullptr, nullptr, [](cache_source*, void*) { return 0; }, nullptr};
  return ::psu_info_get_all(psus, &nothing);
}

PsuReading read_psus(Source source) {
  PsuReading reading;
  if (source == Source::cache) {
    read_cache(reading);
    return reading;
  }
  std::array<psu_info, KVRN_PSU_MAX> records{};
  const observe::Observer observer;
  const int count =
      source == Source::direct ? read_hardware(records.data()) : ::psu_info_get_all(records.data(), nullptr);
  reading.seen = observer.seen();
  reading.records.assign(records.begin(), records.begin() + count);
  // Every readout of the hardware reads the mains.
  const bool direct =
      std::ranges::any_of(reading.seen, [](const observe::Seen& read) { return read.what.fact == KVRN_FACT_MAINS; });
  reading.source = source_of(image_of(reading.seen, KVRN_FACT_RECORDS), direct);
  return reading;
}

json psu_list(const PsuReading& reading, bool batteries_only, Errors& errors) {
  json list = json::array();
  for (std::size_t id = 0; id < reading.records.size(); ++id) {
    const psu_info& record = reading.records[id];
    if (batteries_only && record.type != KVRN_PSU_TYPE_BATTERY) continue;
    list.push_back(psu_section({record, reading.seen}, id));
  }
  if (reading.direct()) note_failures(reading.seen, errors);
  return list;
}

}  // namespace kvrnctl
