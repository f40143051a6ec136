// SPDX-License-Identifier: MIT
#include "snmp/columns.hpp"

#include <stdio.h>

#include <algorithm>
#include <optional>
#include <span>

#include "battery/data_files.hpp"
#include "board/platform.hpp"
#include "psu/readout.hpp"
#include "snmp/key_reader.hpp"
#include "snmp/object.hpp"
#include "snmp/sensors.hpp"
#include "status/alarms.hpp"
#include "util/number.hpp"

namespace {

using kvrn::Oid;

// The number or text that add_object() gets.
union Cell {
  uint32_t number;
  kvrn_snmp_octets text;
};

template <typename Row>
struct Column {
  uint8_t type;
  Cell (*value)(const Row& row);
};

enum Group : kvrn_snmp_oid_word { outputs_group = 2, psus_group = 3, temperatures_group = 4 };

int add_count(void* host, Group group, std::size_t count) {
  return kvrn::add_number(host, {1, 5, group, 1, 0}, KVRN_SNMP_TYPE_GAUGE32, static_cast<uint32_t>(count));
}

template <typename Row, std::size_t Count>
int add_row(void* host, Group group, const Column<Row> (&columns)[Count], uint32_t number, const Row& row) {
  kvrn_snmp_oid_word arc = 0;
  for (const Column<Row>& column : columns) {
    const Cell cell = column.value(row);
    const Oid oid{1, 5, group, 2, 1, ++arc, number};
    if (const int result = kvrn::add_object(host, oid, column.type, &cell); result != 0) return result;
  }
  return 0;
}

Cell number(int32_t value) { return {.number = static_cast<uint32_t>(value)}; }
Cell not_negative(int32_t value) { return number(std::max(value, 0)); }

// ---- DC outputs ----

// An output that is off delivers nothing, even when its monitor reports a value.
int32_t delivered(const output_status& output, int32_t value) { return output.enabled == 0 ? 0 : std::max(value, 0); }

constexpr Column<output_status> output_columns[] = {
    // This is not the number of the row as in the other tables. Management stations expect 1, the only member of the
    // group.
    {KVRN_SNMP_TYPE_INTEGER, [](const output_status&) { return number(1); }},
    {KVRN_SNMP_TYPE_INTEGER, [](const output_status& row) { return number(delivered(row, row.voltage_mv)); }},
    {KVRN_SNMP_TYPE_INTEGER, [](const output_status& row) { return number(delivered(row, row.current_ma)); }},
    {KVRN_SNMP_TYPE_INTEGER, [](const output_status& row) { return number(delivered(row, row.power_uw) / 1000); }},
};

// ---- Power sources ----

bool is_battery(const psu_info& psu) {
  return psu.type == KVRN_PSU_TYPE_BATTERY && (psu.battery_status & KVRN_PSU_BATTERY_VALID) != 0;
}

bool is_supply(const psu_info& psu) {
  return psu.type == KVRN_PSU_TYPE_INPUT && (psu.supply_status & KVRN_PSU_SUPPLY_TELEMETRY) != 0;
}

std::optional<int32_t> millidegrees(const psu_info& psu) {
  const int celsius = is_battery(psu) ? psu.battery_temp_c : is_supply(psu) ? psu.supply_temp_c : KVRN_PSU_UNKNOWN_TEMP;
  if (celsius == KVRN_PSU_UNKNOWN_TEMP) return std::nullopt;
  return celsius * 1000;
}

struct PsuRow {
  int32_t number;
  const psu_info& record;
  bool battery;
  int32_t charge_pct = 0;
  int32_t time_s = 0;
  int32_t health = 0;  // 1: no error, 2: error, 0: unknown
  char date[16] = "";
  uint32_t date_length = 0;
};

void read_battery_files(PsuRow& row) {
  const auto psu = static_cast<int>(row.record.id);
  int32_t third = 0;
  row.charge_pct = kvrn::read_estimate(psu, &row.time_s, &third, nullptr);
  if (const auto data = kvrn::read_battery_data(psu)) row.health = kvrn::is_battery_error(data->flags) ? 2 : 1;
}

// The configuration has YYYYMMDD; the table has MM/DD/YYYY.
void read_install_date(PsuRow& row) {
  constexpr int digits = 8;
  char date[15];
  if (kvrn::read_key("/tmp/system.cfg", "psu.monitor.battery.install_date", date, sizeof date) != digits) return;
  row.date_length =
      static_cast<uint32_t>(::snprintf(row.date, sizeof row.date, "%.2s/%.2s/%.4s", date + 4, date + 6, date));
}

int32_t presence(const psu_info& psu) {
  if ((psu.status & KVRN_PSU_STATUS_FILLED) == 0) return 2;
  return (psu.status & KVRN_PSU_STATUS_MAINS) != 0 ? 3 : 1;
}

constexpr int usable = KVRN_PSU_STATUS_FILLED | KVRN_PSU_STATUS_USABLE;

constexpr Column<PsuRow> psu_columns[] = {
    {KVRN_SNMP_TYPE_INTEGER, [](const PsuRow& row) { return number(row.number); }},
    {KVRN_SNMP_TYPE_INTEGER,
     [](const PsuRow& row) {
       const auto type = static_cast<int32_t>(row.record.type);
       return number(type == KVRN_PSU_TYPE_INPUT || type == KVRN_PSU_TYPE_BATTERY ? type : 0);
     }},
    {KVRN_SNMP_TYPE_INTEGER, [](const PsuRow& row) { return number(presence(row.record)); }},
    {KVRN_SNMP_TYPE_INTEGER, [](const PsuRow& row) { return number((row.record.status & usable) == usable ? 1 : 0); }},
    {KVRN_SNMP_TYPE_INTEGER,
     [](const PsuRow& row) {
       if (row.battery) return number(row.record.voltage_mv);
       return is_supply(row.record) ? number(row.record.supply_vout_mv) : number(0);
     }},
    {KVRN_SNMP_TYPE_INTEGER, [](const PsuRow& row) { return number(millidegrees(row.record).value_or(0)); }},
    {KVRN_SNMP_TYPE_INTEGER,
     [](const PsuRow& row) {
       if (!row.battery) return number(0);
       return number((row.record.battery_status & KVRN_PSU_BATTERY_CHARGING) != 0 ? 1 : 2);
     }},
    {KVRN_SNMP_TYPE_INTEGER,
     [](const PsuRow& row) { return not_negative(row.battery ? static_cast<int8_t>(row.record.battery_kind) : 0); }},
    {KVRN_SNMP_TYPE_INTEGER, [](const PsuRow& row) { return not_negative(row.charge_pct); }},
    {KVRN_SNMP_TYPE_TIMETICKS,
     [](const PsuRow& row) -> Cell { return {.number = static_cast<uint32_t>(std::max(row.time_s, 0)) * 100}; }},
    {KVRN_SNMP_TYPE_INTEGER, [](const PsuRow& row) { return number(row.health); }},
    {KVRN_SNMP_TYPE_OCTET_STRING,
     [](const PsuRow& row) -> Cell {
       return {.text = {row.date_length, row.date}};
     }},
};

// ---- Temperatures ----

enum SensorKind { board_sensor = 1, psu_sensor = 3 };

struct TemperatureRow {
  int32_t number;
  SensorKind kind;
  int32_t millidegrees;
};

constexpr Column<TemperatureRow> temperature_columns[] = {
    {KVRN_SNMP_TYPE_INTEGER, [](const TemperatureRow& row) { return number(row.number); }},
    {KVRN_SNMP_TYPE_INTEGER, [](const TemperatureRow& row) { return number(row.kind); }},
    {KVRN_SNMP_TYPE_INTEGER, [](const TemperatureRow& row) { return number(row.millidegrees); }},
};

}  // namespace

namespace kvrn {

int add_outputs(void* host, sensors_info& info) {
  const std::span<const output_status> outputs = entries(info);
  if (const int result = add_count(host, outputs_group, outputs.size()); result != 0) return result;
  uint32_t row = 0;
  for (const output_status& output : outputs)
    if (const int result = add_row(host, outputs_group, output_columns, ++row, output); result != 0) return result;
  return 0;
}

int add_psus(void* host, sensors_info& info) {
  const auto count = static_cast<std::size_t>(kvrn::source_count());
  if (const int result = add_count(host, psus_group, count); result != 0) return result;
  for (const psu_info& record : std::span(info.psu, count)) {
    PsuRow row{.number = kvrn::wrap_i32(int64_t{record.id} + 1), .record = record, .battery = is_battery(record)};
    if (row.battery) read_battery_files(row);
    if (record.type == KVRN_PSU_TYPE_BATTERY) read_install_date(row);
    if (const int result = add_row(host, psus_group, psu_columns, static_cast<uint32_t>(row.number), row); result != 0)
      return result;
  }
  return 0;
}

int add_temperatures(void* host) {
  const auto boards = board_temperatures();
  // The sources are read again, because reading the battery files takes time and the records of the summary are old by
  // now.
  psu_info psus[KVRN_PSU_MAX]{};
  const std::span<psu_info> records(psus, static_cast<std::size_t>(read_sources(psus, nullptr).count));
  const auto warm =
      std::count_if(records.begin(), records.end(), [](const psu_info& psu) { return millidegrees(psu).has_value(); });
  int result = add_count(host, temperatures_group, boards.size() + static_cast<std::size_t>(warm));
  TemperatureRow row{0, board_sensor, 0};
  const auto add = [&](int32_t value) {
    ++row.number;
    row.millidegrees = value;
    return add_row(host, temperatures_group, temperature_columns, static_cast<uint32_t>(row.number), row);
  };
  for (const int32_t celsius : boards)
    if (result == 0) result = add(celsius * 1000);
  row.kind = psu_sensor;
  for (const psu_info& psu : records)
    if (const auto value = millidegrees(psu); value && result == 0) result = add(*value);
  return result;
}

}  // namespace kvrn
