// SPDX-License-Identifier: MIT
// Every fact that depends on the platform, one row a platform. No other code compares a system id: a new platform is a
// new row. Line numbers are packed (chip index * 100 + offset).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "util/door.hpp"

namespace kvrn {

// A device on an I2C bus.
struct I2cDevice {
  int bus;
  std::uint32_t address;
};

// A mains input and its supply. Where the slot can be empty, the supply answers over I2C.
struct Input {
  std::uint32_t mains_line = 0;      // active low
  const char* mains_flag = nullptr;  // a file that overrides the line
  std::uint32_t slot_line = 0;       // 0 = supply in its slot; no line: the slot is never empty
  I2cDevice supply{};                // its PMBus interface
};

// A line and the level it has in a charging row; line 0 = none.
struct LineLevel {
  std::uint16_t line;
  std::uint16_t level;
};
struct ChargingRow {
  std::uint32_t current_ma;  // 0 ends a table
  std::array<LineLevel, 3> lines;
};
using ChargingTable = std::array<ChargingRow, 4>;  // row 0 is the highest current

struct Charger {
  std::uint32_t disable_line = 0;      // charging is off while active
  const char* enabled_flag = nullptr;  // overrides the line
  const ChargingTable* currents = nullptr;
};

// How a battery is read. The lines and files below `monitor` are those of a battery that is read through hwmon.
struct Battery {
  Charger charger;
  I2cDevice smart{};                    // the smart battery's own controller
  const char* monitor = nullptr;        // hwmon name
  std::uint32_t present_line = 0;       // active low
  const char* present_flag = nullptr;   // overrides the line
  const char* charging_file = nullptr;  // overrides the direction of the current
};

enum class SourceKind : std::uint8_t { none, input, hwmon_battery, smart_battery };

// A power source. One that is `none` is not read; its charger's lines can be driven all the same.
struct PowerSource {
  SourceKind kind = SourceKind::none;
  Input input{};
  Battery battery{};

  constexpr bool is_input() const { return kind == SourceKind::input; }
};

inline constexpr ChargingTable charging_3000{
    {{3000, {{{108, 0}, {113, 0}}}}, {1000, {{{108, 1}, {113, 0}}}}, {334, {{{108, 0}, {113, 1}}}}}};
inline constexpr ChargingTable charging_2000{
    {{2000, {{{108, 0}, {113, 0}}}}, {1000, {{{108, 1}, {113, 0}}}}, {334, {{{108, 0}, {113, 1}}}}}};
inline constexpr ChargingTable charging_1500{
    {{1500, {{{207, 0}, {213, 0}}}}, {667, {{{207, 1}, {213, 0}}}}, {334, {{{207, 0}, {213, 1}}}}}};

// The smart battery of every platform so far.
inline constexpr I2cDevice smart_battery_device{2, 0x0B};

// The same on every platform so far, but for the slots and the charging currents.
constexpr PowerSource first_input(std::uint32_t slot_line) {
  return {.kind = SourceKind::input, .input = {211, "/tmp/.ac_on_status", slot_line, {2, 0x58}}};
}
constexpr PowerSource second_input(std::uint32_t slot_line) {
  return {.kind = SourceKind::input, .input = {212, "/tmp/.ac_on_status2", slot_line, {8, 0x59}}};
}
constexpr PowerSource lead_battery(SourceKind kind, const ChargingTable& currents) {
  return {.kind = kind,
          .battery = {.charger = {109, "/tmp/.batt_ch_status", &currents},
                      .monitor = "mon-battery",
                      .present_line = 100,
                      .present_flag = "/tmp/.batt_status",
                      .charging_file = "/tmp/.charging_status"}};
}
constexpr PowerSource smart_battery(SourceKind kind, const ChargingTable& currents) {
  return {.kind = kind,
          .battery = {.charger = {115, "/tmp/.batt_li_ch_status", &currents}, .smart = smart_battery_device}};
}

// What may be drawn in mW: with one input supply alone, and otherwise. Boards without figures have 0.
struct PowerLimits {
  std::int32_t full;
  std::int32_t reduced;
  std::int32_t fixed;  // when the state of the supplies does not count
};

// Active low: a battery can reinforce a single supply.
inline constexpr std::uint32_t battery_assist_line = 112;
inline constexpr std::uint32_t charger_status_line = 110;

// The lines of output 0 (all of them), 1, 2, 3, and of any higher number; 0 = no line.
using OutputLines = std::array<std::array<std::uint8_t, 3>, 5>;
inline constexpr OutputLines one_output_line{{{111}, {111}, {111}, {111}, {111}}};

// What says whether output 0, 1 or 2 is on. Output 2 is sensed on a line of its own, apart from the one that switches
// it.
using SenseLines = std::array<std::uint32_t, 3>;
inline constexpr SenseLines common_sense_lines{111, 201, 160};

// Images have room for as many records.
inline constexpr std::size_t most_sources = 4;

struct Platform {
  std::uint16_t system_id;  // 0 = every other board
  int psu_count;
  std::array<PowerSource, most_sources> sources;  // beyond the count: not there
  std::int32_t charge_power_mw;                   // charging power of a battery
  PowerLimits power;
  OutputLines output_lines;
  SenseLines sense_lines;
  std::array<const char*, 4> monitors;  // hwmon names of the DC output monitors, null-terminated
  bool battery_current;                 // get_battery_current() has a monitor to read

  constexpr std::span<const PowerSource> present() const {
    return std::span(sources).first(static_cast<std::size_t>(psu_count));
  }
  // A source of the board; null for a number beyond them.
  constexpr const PowerSource* source(int psu) const {
    return psu >= 0 && psu < psu_count ? &sources[static_cast<std::size_t>(psu)] : nullptr;
  }
  // The numbers of inputs and batteries that programs ask for need not be on the board. Inputs: 0 is the first, any
  // other the last.
  constexpr int input_number(int input) const {
    int last = 0;
    for (int psu = 0; psu < psu_count; ++psu)
      if (sources[static_cast<std::size_t>(psu)].is_input()) last = psu;
    return input == 0 ? 0 : last;
  }
  // The battery of a number, else that of another row.
  constexpr const Battery& battery(int psu, std::size_t otherwise) const {
    const auto row = static_cast<std::size_t>(psu);
    const bool known = psu >= 0 && row < sources.size() && !sources[row].is_input();
    return sources[known ? row : otherwise].battery;
  }
  // Of PSU 2 and of any other number.
  constexpr const Charger& charger(int psu) const { return battery(psu, 3).charger; }
};

// Boards without a power unit of their own differ in their charging power alone.
constexpr Platform without_power_unit(std::uint16_t system_id, std::int32_t charge_power_mw) {
  return {.system_id = system_id,
          .psu_count = 2,
          .sources = {first_input(0), second_input(0), lead_battery(SourceKind::none, charging_2000),
                      smart_battery(SourceKind::none, charging_1500)},
          .charge_power_mw = charge_power_mw,
          .power = {0, 0, 0},
          .output_lines = one_output_line,
          .sense_lines = common_sense_lines,
          .monitors = {"mon-dc-out-1"},
          .battery_current = false};
}

inline constexpr auto platforms = std::to_array<Platform>({
#ifdef KVRN_TRIAL_PLATFORM  // a test shows that one more row is all that a platform needs
    KVRN_TRIAL_PLATFORM,
#endif
    {.system_id = 0xEE5A,
     .psu_count = 4,
     .sources = {first_input(0), second_input(0), lead_battery(SourceKind::hwmon_battery, charging_2000),
                 smart_battery(SourceKind::smart_battery, charging_1500)},
     .charge_power_mw = 10000,
     .power = {200000, 100000, 0},
     .output_lines = {{{111}, {111}, {}, {}, {}}},
     .sense_lines = common_sense_lines,
     .monitors = {"mon-dc-out-1"},
     .battery_current = false},
    {.system_id = 0xEE5B,
     .psu_count = 3,
     .sources = {first_input(205), second_input(200), lead_battery(SourceKind::hwmon_battery, charging_3000),
                 smart_battery(SourceKind::none, charging_3000)},
     .charge_power_mw = 10000,
     .power = {480000, 240000, 250000},
     .output_lines = {{{111, 201, 202}, {111}, {201}, {202}, {}}},
     .sense_lines = common_sense_lines,
     .monitors = {"mon-dc-out-1", "mon-dc-out-2", "mon-dc-out-3"},
     .battery_current = true},
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

// The sources of this board.
int source_count() KVRN_INNER(source_count);

// The hwmon names of its DC output monitors, one an output.
std::span<const char* const> output_monitors();

}  // namespace kvrn
