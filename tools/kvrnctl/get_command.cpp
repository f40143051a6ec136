// SPDX-License-Identifier: MIT
#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <memory>

#include "tools/kvrnctl/alarm_table.hpp"
#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/power_sections.hpp"
#include "tools/kvrnctl/power_text.hpp"
#include "tools/kvrnctl/sections.hpp"
#include "tools/kvrnctl/sensors.hpp"

namespace kvrnctl {
namespace {

// A section and its function. Failures of the whole section go into `result`. The reasons why single values could not
// be read go into `errors`.
struct Section {
  std::string_view name;
  json (*make)(Result& result, Errors& errors);
};

json outputs(Result& result, Errors& errors) {
  const OutputReading reading = read_outputs();
  fail_unless_fresh(result, reading.source);
  errors = reading.errors;
  if (!reading.source["reason"].is_null()) errors.push_back(reading.source["reason"]);
  return reading.list;
}

json budget(Result& result, Errors& errors) {
  const OutputReading reading = read_outputs();
  fail_unless_fresh(result, reading.source);
  json section = budget_section(read_psus(Source::automatic), reading, errors);
  if (!section.contains("available_mw")) result.fail(Exit::not_on_this_board, no_budget);
  return section;
}

json batteries(Result& result, Errors& errors) {
  return has_batteries(result) ? psu_list(read_psus(Source::automatic), true, errors) : json::array();
}

json capacity(Result& result, Errors& errors) {
  return has_batteries(result) ? capacity_section(errors) : json::object();
}

json sensors(Result& result, Errors& errors) {
  const SensorReading reading = read_sensors();
  errors = reading.errors;
  if (!reading.section["outputs"].empty())
    fail_unless_fresh(result, reading.output_source);
  else
    errors.push_back("no readings of the outputs: " + reason_of(reading.output_source));
  return reading.section;
}

constexpr std::array<Section, 9> sections{{
    {"board", [](Result&, Errors&) { return board_section(); }},
    {"psu", [](Result&, Errors& errors) { return psu_list(read_psus(Source::automatic), false, errors); }},
    {"battery", batteries},
    {"outputs", outputs},
    {"budget", budget},
    {"state", [](Result&, Errors& errors) { return state_section(read_psus(Source::automatic), errors); }},
    {"alarms", [](Result&, Errors& errors) { return alarm_list(errors); }},
    {"capacity", capacity},
    {"sensors", sensors},
}};

// The name of an object's member, or of an array's entry, in a path.
std::string name_of(const json& from, const std::string& key, const json& member) {
  if (!from.is_array() || !member.is_object()) return key;
  // Entries that are counted from 0 have an "id". Cells and board sensors are counted from 1 and have their own keys.
  for (const char* word : {"id", "name", "cell", "sensor"})
    if (member.contains(word)) return member[word].is_string() ? member[word].get<std::string>() : member[word].dump();
  return key;
}

// Finds the member whose name begins the path, and removes the name from the path. Ids may have dots:
// "output-protection.1".
const json* step(const json& from, std::string_view& path) {
  for (const auto& [key, member] : from.items()) {
    const std::string name = name_of(from, key, member);
    if (path == name) {
      path = {};
      return &member;
    }
    if (!path.starts_with(name + '.') || path.size() == name.size() + 1) continue;
    path.remove_prefix(name.size() + 1);
    return &member;
  }
  return nullptr;
}

std::string bare(const json& value) {
  if (value.is_null()) return "unknown";
  if (value.is_string()) return value.get<std::string>();
  return value.dump();
}

// Adds an object or array as lines "path=value". The null values of an absent thing are "-", not "unknown".
void flatten(const std::string& path, const json& value, bool absent, std::string& text) {
  if (!value.is_structured()) {
    text += fmt::format("{}={}\n", path, absent && value.is_null() ? "-" : bare(value));
    return;
  }
  absent = absent || is_absent(value);
  for (const auto& [key, member] : value.items())
    flatten(path + '.' + name_of(value, key, member), member, absent, text);
}

std::string names(const json& from) {
  std::string list;
  for (const auto& [key, member] : from.items()) list += (list.empty() ? "" : ", ") + name_of(from, key, member);
  return list.empty() ? "nothing" : list;
}

bool is_number(std::string_view text) {
  const bool canonical = text == "0" || (!text.empty() && text[0] != '0');
  return canonical && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Whether a missing path may exist on another board, with another battery or at another time: an entry of a list, or an
// optional value.
bool may_be_elsewhere(const json& at, std::string_view path) {
  constexpr auto optional = std::to_array<std::string_view>({"voltage_mv",
                                                             "current_ma",
                                                             "temperature_c",
                                                             "cells",
                                                             "block_51",
                                                             "block_55",
                                                             "charge_pct",
                                                             "time_to_empty_s",
                                                             "time_to_full_s",
                                                             "full_capacity_mah",
                                                             "design_capacity_mah",
                                                             "cycle_count",
                                                             "charge_state",
                                                             "manufacture_date",
                                                             "available_mw",
                                                             "single_supply_limit_mw",
                                                             "free_mw",
                                                             "charging_mw",
                                                             "calibration_pct",
                                                             "platform_code",
                                                             "radio_id",
                                                             "poe_line",
                                                             "note"});
  if (path.ends_with('.')) return false;
  const std::string_view name = path.substr(0, path.find('.'));
  if (at.is_object()) return std::ranges::find(optional, name) != optional.end();
  if (is_number(name)) return true;
  const auto* const alarm = std::ranges::find(alarms, name, &Alarm::name);
  if (alarm == alarms.end() || alarm->index == Index::none || path.size() == name.size()) return false;
  path.remove_prefix(name.size() + 1);
  return is_number(path.substr(0, path.find('.')));
}

Result list_sections() {
  Result result;
  result.data["sections"] = json::array();
  for (const Section& section : sections) {
    result.data["sections"].push_back(section.name);
    result.text += std::string(section.name) + '\n';
  }
  return result;
}

Result get(const std::string& path) {
  if (path.empty()) return list_sections();
  Result result;
  result.data["path"] = path;
  result.data["value"] = nullptr;
  const std::string first = path.substr(0, path.find('.'));
  const auto* const section = std::ranges::find(sections, first, &Section::name);
  if (section == sections.end()) {
    std::string list;
    for (const Section& known : sections) list += (list.empty() ? "" : ", ") + std::string(known.name);
    result.fail(Exit::usage, fmt::format("no section '{}': there are {}", first, list));
    return result;
  }
  Errors errors;  // of the whole section: reported only when the value is missing
  const json root = section->make(result, errors);
  if (result.exit == Exit::not_on_this_board) return result;
  const json* at = &root;
  bool absent = false;
  for (std::string_view rest = std::string_view(path).substr(first.size()); !rest.empty();) {
    if (rest[0] == '.' && at == &root) rest.remove_prefix(1);
    const std::string_view walked = std::string_view(path).substr(0, path.size() - rest.size() - 1);
    const json* next = at->is_structured() ? step(*at, rest) : nullptr;
    if (next == nullptr) {
      // A number that is missing in a list stands for something that this board does not have. A wrong name is wrong on
      // every board.
      result.errors.insert(result.errors.end(), errors.begin(), errors.end());
      result.fail(may_be_elsewhere(*at, rest) ? Exit::not_on_this_board : Exit::usage,
                  fmt::format("no '{}' in {}: there is {}", rest, walked, names(*at)));
      return result;
    }
    absent = absent || is_absent(*at);
    at = next;
  }
  result.data["value"] = *at;
  if (absent && at->is_null()) {
    result.fail(Exit::not_on_this_board, fmt::format("no '{}': what it belongs to is not there", path));
    return result;
  }
  if (at->is_structured())
    flatten(path, *at, absent, result.text);
  else
    result.text = bare(*at) + '\n';
  if (at->is_null()) {
    result.errors.insert(result.errors.end(), errors.begin(), errors.end());
    result.fail(Exit::failed, fmt::format("{} is unknown", path));
  }
  return result;
}

}  // namespace

void add_get_command(CommandLine& line) {
  const auto path = std::make_shared<std::string>();
  cli::Command& command = line.add("get", "Print one value, bare: get psu.2.voltage_mv");
  command.footer(
      "A path names a section, the id of an entry and a key, as the JSON documents have them: "
      "board.model, psu.2.voltage_mv, battery.3.cells.1.voltage_mv. A shorter path prints lines \"path=value\", "
      "no path the sections.");
  command.argument("[PATH]", path.get(), "Where the value is");
  command.action([&line, path] { line.action = [=](const Context&) { return get(*path); }; });
}

}  // namespace kvrnctl
