// SPDX-License-Identifier: MIT
// sensors: one snapshot of everything that a monitoring client shows, or one after the other.
#include <fmt/core.h>

#include <memory>

#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/output_file.hpp"
#include "tools/kvrnctl/power_text.hpp"
#include "tools/kvrnctl/sensors.hpp"
#include "tools/kvrnctl/stream.hpp"

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

constexpr const char* not_fresh = "the readings of the outputs are not fresh";

struct SensorsOptions {
  std::string format = "text";
  std::optional<std::string> output;
  std::optional<double> every_s;

  bool metrics() const { return format == "prometheus"; }
  bool nut() const { return format == "nut"; }
};

Result sensors(const Context& context, const SensorsOptions& options) {
  Result result;
  SensorReading reading = read_sensors();
  result.errors = std::move(reading.errors);
  if (reading.section.is_null()) {
    result.fail(Exit::failed, "no memory");
    return result;
  }
  if (options.metrics()) {
    // Old readings are no failure here: a metric shows their age, and the other readings are still good.
    result.text = metrics_text(reading);
    return result;
  }
  if (options.nut()) {
    // NUT has an alarm for them, and they are left out.
    result.text = nut_text(reading, result.errors);
    return result;
  }
  // A reader of a file or a stream sees it later than it was written. Metrics have no time: the collector refuses it.
  const std::string time = options.output || options.every_s ? utc_now() : "";
  if (!time.empty()) result.data["time"] = time;
  result.data["source"] = reading.psu_source;
  result.data["outputs_source"] = reading.output_source;
  result.data["sensors"] = reading.section;
  result.text = (time.empty() ? "" : time + "\n\n") + people_text(context, reading);
  if (!reading.section["outputs"].empty()) fail_unless_fresh(result, reading.output_source);
  if (result.exit == Exit::stale && !time.empty()) result.text += fmt::format("\nWarning: {}\n", not_fresh);
  return result;
}

// NUT's driver takes a file of any age for the present. Without a file it ends, and NUT's clients lose the connection.
void leave_no_old_status(const SensorsOptions& options, Result& result) {
  if (!options.nut() || !options.output) return;
  const std::string failure = remove_output(*options.output);
  if (!failure.empty()) result.fail(Exit::failed, failure);
}

Result to_file(const Context& context, const SensorsOptions& options) {
  Result result = sensors(context, options);
  result.printed = true;
  if (result.exit != Exit::failed) {
    const std::string failure = replace_output(*options.output, output_text(context, result));
    if (failure.empty()) return result;
    result.errors.push_back(failure);
    result.exit = Exit::failed;
  }
  leave_no_old_status(options, result);
  return result;
}

// Nothing is kept from turn to turn: a document holds only what was read for it.
Result repeat(const Context& context, const SensorsOptions& options) {
  Stream stream(*options.every_s, !options.output);
  Told told;
  while (stream.next()) {
    const Result result = options.output ? to_file(context, options) : sensors(context, options);
    if (!options.output && result.exit != Exit::failed)
      stream.print(output_text(context, result, one_line) + (context.json ? "" : "\n"));
    std::vector<std::string> failures = result.errors;
    // The age in this line is another one in each turn.
    for (std::string& failure : failures)
      if (failure.starts_with(not_fresh)) failure = not_fresh;
    told.see(context, failures);
  }
  Result result;
  result.printed = true;
  result.exit = stream.exit();
  leave_no_old_status(options, result);
  return result;
}

Result run(Context context, const SensorsOptions& options) {
  if (options.output) context.color = false;
  if (options.every_s) return repeat(context, options);
  return options.output ? to_file(context, options) : sensors(context, options);
}

}  // namespace

void add_sensors_command(CommandLine& line) {
  const auto options = std::make_shared<SensorsOptions>();
  cli::Command& command = line.add("sensors", "One snapshot of sources, outputs and temperatures");
  command
      .option("--format", &options->format,
              "text: for people; prometheus: for the node exporter's textfile collector; nut: for NUT's dummy-ups")
      .choice({"text", "prometheus", "nut"})
      .excludes("--json");
  command.option("--output FILE", &options->output, "Replace this file, in one step, instead of printing");
  command.option("--every SECONDS", &options->every_s, "Do it again and again until a signal").range(0.1, 86400, "s");
  command.action(
      [&line, options] { line.action = [options](const Context& context) { return run(context, *options); }; });
}

}  // namespace kvrnctl
