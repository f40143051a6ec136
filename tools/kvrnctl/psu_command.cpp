// SPDX-License-Identifier: MIT
#include <fmt/core.h>
#include <kvrn/util.h>

#include <algorithm>
#include <optional>

#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/format.hpp"
#include "tools/kvrnctl/power_text.hpp"
#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

struct PsuOptions {
  std::string source = "auto";
  std::optional<int> psu;
};

Source to_source(std::string_view name) {
  if (name == "cache") return Source::cache;
  return name == "direct" ? Source::direct : Source::automatic;
}

std::string details(const json& psu) {
  std::string text = fmt::format("PSU {}\n{}", psu["id"].dump(), fields(without_absent(psu), "  "));
  if (!psu.contains("cells") || psu["present"] == false) return text;
  text += "  Cells\n";
  for (const json& entry : psu["cells"])
    text += fmt::format("    {}  {}\n", entry["cell"].dump(), humanize("voltage_mv", entry["voltage_mv"]));
  return text;
}

// Reads the sources, keeps only the requested PSU, and shows where the reading came from.
Result show(const Context& context, const PsuOptions& options, bool batteries_only) {
  Result result;
  const int count = ::get_psu_count();
  const char* section = batteries_only ? "battery" : "psu";
  if (options.psu && *options.psu >= count) {
    result.data[section] = json::array();
    result.fail(Exit::not_on_this_board,
                fmt::format("this board has {} power sources, no PSU {}", count, *options.psu));
    return result;
  }
  const std::int64_t start = ::get_timestamp_mono_ms();
  const PsuReading reading = read_psus(to_source(options.source));
  context.note(fmt::format("{} power sources in {} ms", reading.records.size(), ::get_timestamp_mono_ms() - start));
  json list = psu_list(reading, batteries_only, result.errors);
  if (options.psu)
    list.erase(std::remove_if(list.begin(), list.end(), [&](const json& psu) { return psu["id"] != *options.psu; }),
               list.end());
  result.data["source"] = reading.source;
  result.data[section] = list;
  if (reading.exit != Exit::ok) {
    result.fail(reading.exit, reading.error);
    return result;
  }
  if (list.empty()) {
    result.fail(Exit::not_on_this_board,
                options.psu ? fmt::format("PSU {} is no battery", *options.psu) : std::string(no_battery));
    return result;
  }
  if (options.psu || batteries_only) {
    for (const json& psu : list) result.text += details(psu) + '\n';
  } else {
    result.text = psus_text(context, list) + '\n';
  }
  result.text += source_line(reading.source);
  return result;
}

void add(CommandLine& line, const char* name, const char* description, bool batteries_only) {
  const auto options = std::make_shared<PsuOptions>();
  cli::Command& command = line.add(name, description);
  command.argument("[N]", &options->psu, "One PSU with all its values").range(0, 3);
  command
      .option("--source", &options->source,
              "auto: the cache if it is fresh, else the hardware; cache: nothing but the cache; direct: the hardware")
      .choice({"auto", "cache", "direct"});
  command.action([&line, options, batteries_only] {
    line.action = [=](const Context& context) { return show(context, *options, batteries_only); };
  });
}

}  // namespace

void add_psu_commands(CommandLine& line) {
  add(line, "psu", "The power sources: inputs and batteries", false);
  add(line, "battery", "The batteries with all their values", true);
}

}  // namespace kvrnctl
