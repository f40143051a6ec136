// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/power_text.hpp"

#include <fmt/core.h>

#include "tools/kvrnctl/sections.hpp"
namespace kvrnctl {
namespace {

Color color_of_psu(const std::string& state) {
  if (state == "mains on" || state == "charging") return Color::good;
  if (state == "no mains" || state == "absent" || state == "unknown") return Color::bad;
  return Color::none;
}

Color color_of_output(const std::string& state) {
  if (state == "normal") return Color::good;
  if (state == "shed" || state == "overload" || state == "protected") return Color::bad;
  return Color::none;
}

// The state as in the document, except "idle", which also needs its limit.
std::string output_state(const json& state) { return state == "idle" ? "idle, below 0.9 W" : humanize("state", state); }

// A value that the source does not have is "-", not "unknown".
std::string cell(const json& entry, const char* key) { return entry.contains(key) ? humanize(key, entry[key]) : "-"; }

}  // namespace

json without_absent(json psu) {
  if (!is_absent(psu)) return psu;
  for (json& value : psu)
    if (value.is_null()) value = "-";
  return psu;
}

std::string outputs_text(const Context& context, const json& outputs) {
  Table table({"OUTPUT", "SWITCHED", "STATE            ", "CONFIGURED", "VOLTAGE", "CURRENT", "POWER"});
  for (const json& output : outputs) {
    const std::string state = output_state(output["state"]);
    table.add({output["id"].dump(), output["enabled"] == true ? "on" : "off",
               painted(context, color_of_output(state), state), output["configured"], cell(output, "voltage_mv"),
               cell(output, "current_ma"), cell(output, "power_mw")});
  }
  return table.text();
}

std::string psus_text(const Context& context, const json& psus) {
  Table table({"PSU", "TYPE           ", "STATE       ", "USABLE", "VOLTAGE", "CURRENT", "CHARGE", "TEMP"});
  for (const json& entry : psus) {
    const json psu = without_absent(entry);
    const bool battery = psu["type"] == "battery";
    const std::string type = psu["type"].get<std::string>() + (battery ? ", " + psu.value("kind", "none") : "");
    const std::string state = humanize("state", psu["state"]);
    table.add({psu["id"].dump(), type, painted(context, color_of_psu(state), state), humanize("usable", psu["usable"]),
               cell(psu, "voltage_mv"), cell(psu, "current_ma"), cell(psu, "charge_pct"), cell(psu, "temperature_c")});
  }
  return table.text();
}

std::string source_line(const json& source) {
  const std::string reason = source["reason"].is_null() ? "" : source["reason"].get<std::string>();
  if (source["kind"] == "cache")
    return folded(fmt::format("Source: cache {}, {}", source["path"].get<std::string>(),
                              reason.empty() ? source["age_s"].dump() + " s old" : reason),
                  8);
  return folded(reason.empty() ? "Source: direct readout" : fmt::format("Source: direct readout ({})", reason), 8);
}

std::string reason_of(const json& source) {
  return fmt::format("{}: {}", source["path"].get<std::string>(),
                     source["reason"].is_null() ? "cut short while it was read" : source["reason"].get<std::string>());
}

void fail_unless_fresh(Result& result, const json& output_source) {
  if (output_source["fresh"] == true) return;
  result.fail(Exit::stale,
              fmt::format("the readings of the outputs are not fresh ({}): the monitoring process is not running",
                          output_source["reason"].get<std::string>()));
}

}  // namespace kvrnctl
