// SPDX-License-Identifier: MIT
// All facts that depend on the platform, with one row for each platform. No other code compares a system id. A new
// platform needs only a new row. Line numbers are packed (chip index * 100 + offset).
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

// A mains input and its supply. A supply in a slot that can be empty answers over I2C.
struct Input {
  std::uint32_t mains_line = 0;      // active low
  const char* mains_flag = nullptr;  // file that overrides the line
  std::uint32_t slot_line = 0;       // level 0: the slot holds a supply; no line: there is no slot that can be empty
  I2cDevice supply{};                // PMBus interface of the supply
};

// A line and its level in a charging row. Line 0 means no line.
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
  std::uint32_t disable_line = 0;      // charging is off while the line is active
  const char* enabled_flag = nullptr;  // file that overrides the line
  const ChargingTable* currents = nullptr;
};

// How a battery is read. The members from `monitor` on are used only for a battery that is read through hwmon.
struct Battery {
  Charger charger;
  I2cDevice smart{};                    // controller of the smart battery
  const char* monitor = nullptr;        // hwmon name
  std::uint32_t present_line = 0;       // active low
  const char* present_flag = nullptr;   // file that overrides the line
  const char* charging_file = nullptr;  // file that overrides the direction of the current
};

enum class SourceKind : std::uint8_t { none, input, hwmon_battery, smart_battery };

// A power source. A source of kind `none` is not read, but the lines of its charger can be driven.
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

// The smart battery is the same on all current platforms.
inline constexpr I2cDevice smart_battery_device{2, 0x0B};

// These sources differ only in their slot lines and charging currents on the current platforms.
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

// Power limits in mW: `reduced` for a single input supply without the support of a battery, otherwise `full`. Boards
// without figures have 0.
struct PowerLimits {
  std::int32_t full;
  std::int32_t reduced;
  std::int32_t fixed;  // for callers that ignore the state of the supplies
};

// Active low: a battery can support a single supply.
inline constexpr std::uint32_t battery_assist_line = 112;
inline constexpr std::uint32_t charger_status_line = 110;

// The lines of output 0 (all outputs), 1, 2 and 3, and of any higher number. 0 means no line.
using OutputLines = std::array<std::array<std::uint8_t, 3>, 5>;
inline constexpr OutputLines one_output_line{{{111}, {111}, {111}, {111}, {111}}};

// The lines that show whether output 0, 1 or 2 is on. Output 2 has a line for this that differs from the line that
// switches it.
using SenseLines = std::array<std::uint32_t, 3>;
inline constexpr SenseLines common_sense_lines{111, 201, 160};

// The number of records in an image.
inline constexpr std::size_t most_sources = 4;

struct Platform {
  std::uint16_t system_id;  // 0 = all other boards
  int psu_count;
  std::array<PowerSource, most_sources> sources;  // sources from `psu_count` on do not exist
  std::int32_t charge_power_mw;                   // charging power of one battery
  PowerLimits power;
  OutputLines output_lines;
  SenseLines sense_lines;
  std::array<const char*, 4> monitors;  // hwmon names of the DC output monitors, null-terminated
  bool battery_current;                 // whether get_battery_current() can read a monitor

  constexpr std::span<const PowerSource> present() const {
    return std::span(sources).first(static_cast<std::size_t>(psu_count));
  }
  // A source of the board; null when the board does not have this number.
  constexpr const PowerSource* source(int psu) const {
    return psu >= 0 && psu < psu_count ? &sources[static_cast<std::size_t>(psu)] : nullptr;
  }
  // Programs may ask for the number of an input that the board does not have. Input 0 is the first input, any other
  // number is the last one.
  constexpr int input_number(int input) const {
    int last = 0;
    for (int psu = 0; psu < psu_count; ++psu)
      if (sources[static_cast<std::size_t>(psu)].is_input()) last = psu;
    return input == 0 ? 0 : last;
  }
  // The battery with a number. If this is no battery, the battery of row `otherwise`.
  constexpr const Battery& battery(int psu, std::size_t otherwise) const {
    const auto row = static_cast<std::size_t>(psu);
    const bool known = psu >= 0 && row < sources.size() && !sources[row].is_input();
    return sources[known ? row : otherwise].battery;
  }
  // The charger of a battery. Every number that is no battery gets the charger of PSU 3.
  constexpr const Charger& charger(int psu) const { return battery(psu, 3).charger; }
};

// Boards without their own power unit differ only in their charging power.
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
#ifdef KVRN_TRIAL_PLATFORM  // a test adds a row here: a new platform needs nothing else
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

// The row of a system id. The last row is for all ids that have no row.
constexpr const Platform& platform_of(std::uint32_t system_id) {
  for (const Platform& row : platforms)
    if (row.system_id == system_id) return row;
  return platforms.back();
}

// The row of this board. The system id is read once per process, and again while it is 0.
const Platform& platform();

// The number of power sources of this board.
int source_count() KVRN_INNER(source_count);

// The hwmon names of this board's DC output monitors, one for each output.
std::span<const char* const> output_monitors();

}  // namespace kvrn
