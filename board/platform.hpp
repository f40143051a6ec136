// SPDX-License-Identifier: MIT
// Every fact that depends on the platform, one row a platform. No other code compares a system id: a new platform is a
// new row. Line numbers are packed (chip index * 100 + offset).
#pragma once

#include <array>
#include <cstdint>

namespace kvrn {

enum class BatteryReader : std::uint8_t { none, hwmon, smart };

// One mains input: the same lines and addresses on every platform; `slot_line` is read only where slots can be empty.
struct Input {
  std::uint32_t mains_line;    // active low
  const char* mains_flag;      // a file that overrides the line
  std::uint32_t slot_line;     // 0 = supply in its slot
  int monitor_bus;             // I2C bus and address of the supply's PMBus interface
  std::uint32_t monitor_address;
};

inline constexpr std::array<Input, 2> inputs{{
    {211, "/tmp/.ac_on_status", 205, 2, 0x58},
    {212, "/tmp/.ac_on_status2", 200, 8, 0x59},
}};

// A line and the level it has in a charging row; line 0 = none.
struct LineLevel {
  std::uint16_t line;
  std::uint16_t level;
};
struct ChargingRow {
  std::uint32_t current_ma;  // 0 ends a table
  std::array<LineLevel, 3> lines;
};
using ChargingTable = std::array<ChargingRow, 4>;

inline constexpr std::array<ChargingTable, 3> charging_tables{{
    {{{3000, {{{108, 0}, {113, 0}, {}}}}, {1000, {{{108, 1}, {113, 0}, {}}}}, {334, {{{108, 0}, {113, 1}, {}}}}, {}}},
    {{{2000, {{{108, 0}, {113, 0}, {}}}}, {1000, {{{108, 1}, {113, 0}, {}}}}, {334, {{{108, 0}, {113, 1}, {}}}}, {}}},
    {{{1500, {{{207, 0}, {213, 0}, {}}}}, {667, {{{207, 1}, {213, 0}, {}}}}, {334, {{{207, 0}, {213, 1}, {}}}}, {}}},
}};

struct Platform {
  std::uint16_t system_id;                   // 0 = every other board
  int psu_count;
  std::array<BatteryReader, 2> batteries;    // readers of PSU 2 and 3
  bool slots;                                // supply slots can be empty, and supplies answer over I2C
  bool battery_current;                      // get_battery_current() has a monitor to read
  std::int32_t charge_power_mw;              // charging power of a battery
  std::array<const char*, 4> monitors;       // hwmon names of the DC output monitors, null-terminated
};

inline constexpr std::array<Platform, 5> platforms{{
    {0xEE5A, 4, {BatteryReader::hwmon, BatteryReader::smart}, false, false, 10000, {"mon-dc-out-1"}},
    {0xEE5B, 3, {BatteryReader::hwmon, BatteryReader::hwmon}, true, true, 10000,
     {"mon-dc-out-1", "mon-dc-out-2", "mon-dc-out-3"}},
    {0xEEF2, 2, {}, false, false, 30000, {"mon-dc-out-1"}},
    {0xEEF3, 2, {}, false, false, 30000, {"mon-dc-out-1"}},
    {0, 2, {}, false, false, 10000, {"mon-dc-out-1"}},
}};

// The row of a system id; the last row serves every id without one.
constexpr const Platform& platform_of(std::uint32_t system_id) {
  for (const Platform& row : platforms)
    if (row.system_id == system_id) return row;
  return platforms.back();
}

// The row of this board. The system id is fetched once per process (0 is fetched again).
const Platform& platform();

}  // namespace kvrn
