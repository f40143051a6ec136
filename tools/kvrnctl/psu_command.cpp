// SPDX-License-Identifier: MIT
#include <fmt/core.h>
#include <kvrn/util.h>

#include <algorithm>
#include <optional>

#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/format.hpp"
#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

struct Options {
  std::string source = "auto";
  std::optional<int> psu;
};

Source to_source(std::string_view name) {
  if (name == "cache") return Source::cache;
  return name == "direct" ? Source::direct : Source::automatic;
}

Color color_of(const json& psu) {
  const std::string state = psu["state"];
  if (state == "mains on" || state == "charging") return Color::good;
  if (state == "no mains" || state == "absent" || state == "unknown") return Color::bad;
  return Color::none;
}

std::string cell(const json& psu, const char* key) {
  if (!psu.contains(key)) return "-";
  return humanize(key, psu[key]);
}

std::string overview(const Context& context, const json& list) {
  Table table({"PSU", "TYPE           ", "STATE       ", "USABLE", "VOLTAGE", "CURRENT", "CHARGE", "TEMPERATURE"});
  for (const json& psu : list) {
    const bool battery = psu["type"] == "battery";
    const std::string type = psu["type"].get<std::string>() + (battery ? ", " + psu.value("kind", "none") : "");
    table.add({psu["id"].dump(), type, painted(context, color_of(psu), psu["state"].get<std::string>()),
               humanize("usable", psu["usable"]), cell(psu, battery ? "voltage_mv" : "output_voltage_mv"),
               cell(psu, battery ? "current_ma" : "output_current_ma"), cell(psu, "charge_pct"),
               cell(psu, "temperature_c")});
  }
  return table.text();
}

std::string details(const json& psu) {
  std::string text = fmt::format("PSU {}\n{}", psu["id"].dump(), fields(psu, "  "));
  if (!psu.contains("cells")) return text;
  text += "  Cells\n";
  for (const json& entry : psu["cells"])
    text += fmt::format("    {}  {}\n", entry["id"].dump(), humanize("voltage_mv", entry["voltage_mv"]));
  return text;
}

std::string source_text(const json& source) {
  if (source["kind"] == "cache")
    return fmt::format("Source: cache {}, {} s old\n", source["path"].get<std::string>(), source["age_s"].dump());
  if (!source.contains("reason")) return "Source: direct readout\n";
  return fmt::format("Source: direct readout ({})\n", source["reason"].get<std::string>());
}

// Reads, keeps the PSU that was asked for, and says where the reading came from.
Result show(const Context& context, const Options& options, bool batteries_only) {
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
    result.fail(Exit::not_on_this_board, options.psu ? fmt::format("PSU {} is no battery", *options.psu)
                                                     : std::string("this board has no battery"));
    return result;
  }
  if (options.psu || batteries_only) {
    for (const json& psu : list) result.text += details(psu) + '\n';
  } else {
    result.text = overview(context, list) + '\n';
  }
  result.text += source_text(reading.source);
  return result;
}

void add(CommandLine& line, const char* name, const char* description, bool batteries_only) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = line.add(name, description);
  command->add_option("N", options->psu, "Number of one PSU, 0 to 3, with all its values")
      ->check(CLI::Range(0, 3))
      ->option_text("N");
  command
      ->add_option("--source", options->source,
                   "auto: the cache if it is fresh, else the hardware; cache: nothing but the cache; direct: the "
                   "hardware")
      ->check(CLI::IsMember({"auto", "cache", "direct"}))
      ->option_text("auto|cache|direct");
  command->callback([&line, options, batteries_only] {
    line.action = [=](const Context& context) { return show(context, *options, batteries_only); };
  });
}

}  // namespace

void add_psu_commands(CommandLine& line) {
  add(line, "psu", "The power sources: inputs and batteries", false);
  add(line, "battery", "The batteries with all their values", true);
}

}  // namespace kvrnctl
