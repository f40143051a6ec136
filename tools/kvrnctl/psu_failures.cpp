// SPDX-License-Identifier: MIT
// The library turns a failed reading into a default. Where the default looks like a reading, ask again and say so.
#include <fmt/core.h>

#include <array>

#include "board/platform.hpp"
#include "hw/attribute.hpp"
#include "psu/readout.hpp"
#include "tools/kvrnctl/probe.hpp"
#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

using Errors = std::vector<std::string>;

// Takes a value back that was never read.
void unread(json& psu, const char* key, std::string_view source, const Answer& answer, Errors& errors) {
  psu[key] = nullptr;
  errors.push_back(fmt::format("PSU {}: {}: {}: {}", psu["id"].dump(), key, source, answer.text));
}

// "No mains" is also what an unreadable line says.
void check_mains(json& psu, const kvrn::Input& input, Errors& errors) {
  if (psu["state"] != "no mains" || probe_number(input.mains_flag).ok) return;
  const Answer answer = probe_gpio(input.mains_line);
  if (answer.ok) return;
  psu["state"] = nullptr;
  unread(psu, "usable", fmt::format("GPIO {}", input.mains_line), answer, errors);
}

void check_telemetry(json& psu, const kvrn::Input& input, Errors& errors) {
  constexpr std::array<std::pair<const char*, std::uint8_t>, 3> registers{
      {{"output_voltage_mv", kvrn::supply_vout},
       {"output_current_ma", kvrn::supply_iout},
       {"temperature_c", kvrn::supply_temperature}}};
  for (const auto& [key, reg] : registers) {
    if (!psu[key].is_null()) continue;
    const Answer answer = probe_register(input.monitor_bus, input.monitor_address, reg, false);
    unread(psu, key, fmt::format("I2C {}-{:02x} register 0x{:02x}", input.monitor_bus, input.monitor_address, reg),
           answer, errors);
  }
}

void check_monitor(json& psu, Errors& errors) {
  constexpr std::array<std::pair<const char*, const char*>, 2> attributes{
      {{"voltage_mv", "in0_input"}, {"current_ma", "curr1_input"}}};
  for (const auto& [key, attribute] : attributes) {
    const auto path = kvrn::hwmon_path(kvrn::battery_monitor, attribute);
    if (const Answer answer = probe_number(path.c_str()); !answer.ok) unread(psu, key, path.c_str(), answer, errors);
  }
  // The current tells whether the battery charges, unless a file does; without mains none does.
  if (!psu["current_ma"].is_null() || probe_number(kvrn::charging_status_file).ok) return;
  psu["state"] = nullptr;
  if (psu["mains"] == true) psu["charging"] = nullptr;
}

void check_smart_battery(const json& psu, Errors& errors) {
  std::string missing;
  for (const char* key : {"voltage_mv", "current_ma", "temperature_c", "charge_pct", "full_capacity_mah",
                          "design_capacity_mah", "cycle_count"})
    if (psu[key].is_null()) missing += (missing.empty() ? "" : ", ") + std::string(key);
  if (!missing.empty()) errors.push_back(fmt::format("PSU {}: the battery did not tell {}", psu["id"].dump(), missing));
}

}  // namespace

void note_failures(json& psu, Errors& errors) {
  const kvrn::Platform& platform = kvrn::platform_of(::board_identify()->system_id);
  if (psu["type"] == "input") {
    const kvrn::Input& input = kvrn::inputs[psu["id"] == 0 ? 0 : 1];
    check_mains(psu, input, errors);
    if (platform.slots && psu["usable"] == true) check_telemetry(psu, input, errors);
  } else if (psu["type"] == "battery" && psu["present"] == true) {
    if (psu["kind"] == "smart")
      check_smart_battery(psu, errors);
    else
      check_monitor(psu, errors);
  }
}

}  // namespace kvrnctl
