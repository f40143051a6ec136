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
  std::uint32_t mains_line;  // active low
  const char* mains_flag;    // a file that overrides the line
  std::uint32_t slot_line;   // 0 = supply in its slot
  int monitor_bus;           // I2C bus and address of the supply's PMBus interface
  std::uint32_t monitor_address;
};

inline constexpr std::array<Input, 2> inputs{{
    {211, "/tmp/.ac_on_status", 205, 2, 0x58},
    {212, "/tmp/.ac_on_status2", 200, 8, 0x59},
}};

// The lines and files of one battery's charger, the same on every platform.
struct Charger {
  int psu;
  std::uint32_t disable_line;  // charging is off while active
  const char* enabled_flag;    // overrides the line
};
inline constexpr Charger hwmon_charger{2, 109, "/tmp/.batt_ch_status"};
inline constexpr Charger smart_charger{3, 115, "/tmp/.batt_li_ch_status"};

// Active low: a battery can reinforce a single supply.
inline constexpr std::uint32_t battery_assist_line = 112;

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

// Row 0 is the highest current.
inline constexpr ChargingTable charging_3000{
    {{3000, {{{108, 0}, {113, 0}}}}, {1000, {{{108, 1}, {113, 0}}}}, {334, {{{108, 0}, {113, 1}}}}}};
inline constexpr ChargingTable charging_2000{
    {{2000, {{{108, 0}, {113, 0}}}}, {1000, {{{108, 1}, {113, 0}}}}, {334, {{{108, 0}, {113, 1}}}}}};
inline constexpr ChargingTable charging_1500{
    {{1500, {{{207, 0}, {213, 0}}}}, {667, {{{207, 1}, {213, 0}}}}, {334, {{{207, 0}, {213, 1}}}}}};

// What may be drawn in mW: with one input supply alone, and otherwise. Boards without figures have 0.
struct PowerLimits {
  std::int32_t full;
  std::int32_t reduced;
  std::int32_t fixed;  // when the state of the supplies does not count
};

// The lines of output 0 (all of them), 1, 2, 3, and of any higher number; 0 = no line.
using OutputLines = std::array<std::array<std::uint8_t, 3>, 5>;
inline constexpr OutputLines one_output_line{{{111}, {111}, {111}, {111}, {111}}};

// What says whether output 0, 1 or 2 is on, on every platform. Output 2 is sensed on a line of its own, apart from the
// one that switches it.
inline constexpr std::array<std::uint32_t, 3> sense_lines{111, 201, 160};

struct Platform {
  std::uint16_t system_id;  // 0 = every other board
  int psu_count;
  std::array<BatteryReader, 2> batteries;        // readers of PSU 2 and 3
  std::array<const ChargingTable*, 2> charging;  // charging currents of PSU 2 and of any other PSU
  bool slots;                                    // supply slots can be empty, and supplies answer over I2C
  bool battery_current;                          // get_battery_current() has a monitor to read
  std::int32_t charge_power_mw;                  // charging power of a battery
  PowerLimits power;
  OutputLines output_lines;
  std::array<const char*, 4> monitors;  // hwmon names of the DC output monitors, null-terminated

  // PSU 2 has a row of its own in each pair; every other number shares the second.
  static constexpr unsigned battery_index(int psu) { return psu == 2 ? 0 : 1; }
  constexpr BatteryReader battery(int psu) const { return batteries[battery_index(psu)]; }
  constexpr const ChargingTable& charging_table(int psu) const { return *charging[battery_index(psu)]; }
};

// Boards without a power unit of their own differ in their charging power alone.
constexpr Platform without_power_unit(std::uint16_t system_id, std::int32_t charge_power_mw) {
  return {.system_id = system_id,
          .psu_count = 2,
          .batteries = {BatteryReader::none, BatteryReader::none},
          .charging = {&charging_2000, &charging_1500},
          .slots = false,
          .battery_current = false,
          .charge_power_mw = charge_power_mw,
          .power = {0, 0, 0},
          .output_lines = one_output_line,
          .monitors = {"mon-dc-out-1"}};
}

inline constexpr auto platforms = std::to_array<Platform>({
    {.system_id = 0xEE5A,
     .psu_count = 4,
     .batteries = {BatteryReader::hwmon, BatteryReader::smart},
     .charging = {&charging_2000, &charging_1500},
     .slots = false,
     .battery_current = false,
     .charge_power_mw = 10000,
     .power = {200000, 100000, 0},
     .output_lines = {{{111}, {111}, {}, {}, {}}},
     .monitors = {"mon-dc-out-1"}},
    {.system_id = 0xEE5B,
     .psu_count = 3,
     .batteries = {BatteryReader::hwmon, BatteryReader::hwmon},
     .charging = {&charging_3000, &charging_3000},
     .slots = true,
     .battery_current = true,
     .charge_power_mw = 10000,
     .power = {480000, 240000, 250000},
     .output_lines = {{{111, 201, 202}, {111}, {201}, {202}, {}}},
     .monitors = {"mon-dc-out-1", "mon-dc-out-2", "mon-dc-out-3"}},
    without_power_unit(0xEEF2, 30000),
    without_power_unit(0xEEF3, 30000),
    without_power_unit(0, 10000),
});
static_assert(platforms.back().system_id == 0,
              "a platform's row stands in front of the last, which serves every other id");

// The row of a system id; the last row serves every id without one.
constexpr const Platform& platform_of(std::uint32_t system_id) {
  for (const Platform& row : platforms)
    if (row.system_id == system_id) return row;
  return platforms.back();
}

// The row of this board. The system id is fetched once per process (0 is fetched again).
const Platform& platform();

}  // namespace kvrn
