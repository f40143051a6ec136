// SPDX-License-Identifier: MIT
// outputs, budget, state, capacity: what the power unit delivers and may deliver.
#include <fmt/core.h>

#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/format.hpp"
#include "tools/kvrnctl/power_sections.hpp"
#include "tools/kvrnctl/power_text.hpp"

namespace kvrnctl {
namespace {

Result outputs(const Context& context) {
  Result result;
  const OutputReading reading = read_outputs();
  result.data["source"] = reading.source;
  result.data["outputs"] = reading.list;
  result.fail_for(reading.errors);
  result.text = outputs_text(context, reading.list) + '\n' + source_line(reading.source);
  fail_unless_fresh(result, reading.source);
  return result;
}

Result budget(const Context&) {
  Result result;
  const PsuReading psus = read_psus(Source::automatic);
  result.data["source"] = psus.source;
  const OutputReading outputs = read_outputs();
  result.data["outputs_source"] = outputs.source;
  Errors errors;
  result.data["budget"] = budget_section(psus, outputs, errors);
  result.text =
      fields(result.data["budget"], "") + '\n' + source_line(psus.source) + source_line(result.data["outputs_source"]);
  if (!result.data["budget"].contains("available_mw")) result.fail(Exit::not_on_this_board, no_budget);
  result.fail_for(errors);
  fail_unless_fresh(result, result.data["outputs_source"]);
  return result;
}

Result state(const Context&) {
  Result result;
  const PsuReading psus = read_psus(Source::automatic);
  result.data["source"] = psus.source;
  Errors errors;
  result.data["state"] = state_section(psus, errors);
  const json& section = result.data["state"];
  if (section["code"].is_null()) result.fail_for(errors);
  result.text = fmt::format("{}  {}\n", section["code"].is_null() ? "-" : section["code"].dump(),
                            humanize("meaning", section["meaning"]));
  if (section.contains("note")) result.text += folded("   " + section["note"].get<std::string>(), 3);
  result.text += '\n' + source_line(psus.source);
  return result;
}

Result capacity(const Context&) {
  Result result;
  result.data["capacity"] = nullptr;
  if (!has_batteries(result)) return result;
  Errors errors;
  result.data["capacity"] = capacity_section(errors);
  result.fail_for(errors);
  const json& section = result.data["capacity"];
  result.text = fields(section, "");
  for (const json& battery : section["batteries"])
    result.text += fmt::format("\nPSU {}\n{}", battery["id"].dump(), fields(battery, "  "));
  return result;
}

}  // namespace

void add_power_commands(CommandLine& line) {
  const auto add = [&line](const char* name, const char* description, Result (*command)(const Context&)) {
    line.add(name, description).action([&line, command] { line.action = command; });
  };
  add("outputs", "The DC outputs: switch, state, load", outputs);
  add("budget", "How much power may be drawn, and how much is", budget);
  add("state", "The device state: its code and what it means", state);
  add("capacity", "Capacity, charge and calibration of the batteries", capacity);
}

}  // namespace kvrnctl
