// SPDX-License-Identifier: MIT
// The pieces of the direct readout. Each fills a record that is zero but for `id` and `type`.
#pragma once

#include <kvrn/psu.h>

#include <cstdint>

#include "board/platform.hpp"

namespace kvrn {

// A flag file that other processes write: 1 when it holds a positive number, 0 when another, the fallback when it is
// missing or holds none. A present file wins over the line that gives the fallback.
bool flag_file(const char* path, bool fallback);

void read_supply(psu_info& out, int psu);
void read_smart_battery(psu_info& out);
void read_hwmon_battery(psu_info& out);

// What an input supply tells over PMBus: one byte of each command code, with the supplies' own scale.
enum SupplyRegister : std::uint8_t { supply_vout = 0x8B, supply_iout = 0x8C, supply_temperature = 0x8D };

inline constexpr std::uint32_t battery_present_line = 100;  // active low
inline constexpr const char* battery_present_flag = "/tmp/.batt_status";
inline constexpr const char* charging_status_file = "/tmp/.charging_status";
inline constexpr const char* battery_monitor = "mon-battery";  // hwmon name
inline constexpr std::uint32_t charger_status_line = 110;
inline constexpr int charging_threshold_ma = -80;  // a current below it charges

}  // namespace kvrn
