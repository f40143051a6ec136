// SPDX-License-Identifier: MIT
// sensors: one snapshot of everything that a monitoring client shows.
#include <fmt/core.h>

#include <memory>

#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/power_text.hpp"
#include "tools/kvrnctl/sensors.hpp"

namespace kvrnctl {
namespace {

// The device's own estimates for a battery, and whether it found an error.
std::string battery_line(const Context& context, const json& psu) {
  const json& error = psu["error"];
  const char* found = error.is_null() ? "health unknown" : error == true ? "battery error" : "no battery error";
  const Color color = error == true ? Color::bad : Color::none;
  return fmt::format("Battery {}: estimated charge {}, run time {}, {}\n", psu["id"].dump(),
                     humanize("estimated_charge_pct", psu["estimated_charge_pct"]),
                     humanize("estimated_time_s", psu["estimated_time_s"]), painted(context, color, found));
}

std::string people_text(const Context& context, const SensorReading& reading) {
  const json& section = reading.section;
  std::string text = psus_text(context, section["psus"]);
  for (const json& psu : section["psus"])
    if (psu["type"] == "battery") text += battery_line(context, psu);
  text += '\n' + source_line(reading.psu_source) + '\n';
  text += section["outputs"].empty()
              ? folded(fmt::format("Outputs: no readings ({})", reason_of(reading.output_source)), 9)
              : outputs_text(context, section["outputs"]) + '\n' + source_line(reading.output_source);
  for (const json& board : section["board_temperatures"])
    text += fmt::format("\nBoard sensor {}  {}\n", board["sensor"].dump(),
                        humanize("temperature_c", board["temperature_c"]));
  return text + '\n' + fields(section, "");
}

Result sensors(const Context& context, const std::string& format) {
  Result result;
  SensorReading reading = read_sensors();
  result.errors = std::move(reading.errors);
  if (reading.section.is_null()) {
    result.fail(Exit::failed, "no memory");
    return result;
  }
  if (format == "prometheus") {
    // Old readings are no failure here: a metric shows their age, and the other readings are still good.
    result.text = metrics_text(reading);
    return result;
  }
  result.data["source"] = reading.psu_source;
  result.data["outputs_source"] = reading.output_source;
  result.data["sensors"] = reading.section;
  result.text = people_text(context, reading);
  if (!reading.section["outputs"].empty()) fail_unless_fresh(result, reading.output_source);
  return result;
}

}  // namespace

void add_sensors_command(CommandLine& line) {
  const auto format = std::make_shared<std::string>("text");
  cli::Command& command = line.add("sensors", "One snapshot of sources, outputs and temperatures");
  command.option("--format", format.get(), "text: for people; prometheus: for the node exporter's textfile collector")
      .choice({"text", "prometheus"})
      .excludes("--json");
  command.action(
      [&line, format] { line.action = [format](const Context& context) { return sensors(context, *format); }; });
}

}  // namespace kvrnctl
