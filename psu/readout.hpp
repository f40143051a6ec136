// SPDX-License-Identifier: MIT
// The pieces of the direct readout. Each fills a record that is zero but for `id` and `type`.
#pragma once

#include <kvrn/psu.h>

#include <cstdint>

namespace kvrn {

// A flag file that other processes write: 1 when it holds a positive number, 0 when another, the fallback when it is
// missing or holds none. A present file wins over the line that gives the fallback.
bool flag_file(const char* path, bool fallback);

void read_supply(psu_info& out, int psu);
void read_smart_battery(psu_info& out);
void read_hwmon_battery(psu_info& out);

// What an input supply tells over PMBus: one byte of each command code, with the supplies' own scale.
enum SupplyRegister : std::uint8_t { supply_vout = 0x8B, supply_iout = 0x8C, supply_temperature = 0x8D };

// The lines and files of one battery's charger.
struct Charger {
  int psu;
  std::uint32_t disable_line;  // charging is off while active
  const char* enabled_flag;    // overrides the line
};
inline constexpr Charger hwmon_charger{2, 109, "/tmp/.batt_ch_status"};
inline constexpr Charger smart_charger{3, 115, "/tmp/.batt_li_ch_status"};

inline constexpr std::uint32_t battery_present_line = 100;  // active low
inline constexpr const char* battery_present_flag = "/tmp/.batt_status";
inline constexpr const char* charging_status_file = "/tmp/.charging_status";
inline constexpr const char* battery_monitor = "mon-battery";  // hwmon name
inline constexpr std::uint32_t charger_status_line = 110;
inline constexpr int charging_threshold_ma = -80;  // a current below it charges

}  // namespace kvrn
