// SPDX-License-Identifier: MIT
// Each variable of Network UPS Tools (NUT) is one row: the end of its name, the key of its value in the document, and
// the divisor that gives NUT's unit. NUT's driver dummy-ups keeps a variable until a line gives it an empty text. So
// every variable of this board has a line in each text. A line without anything behind the colon is no empty text: the
// driver then takes the value of the line before.
#include <fmt/core.h>
#include <kvrn/psu.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <utility>

#include "snmp/identity.hpp"
#include "status/alarms.hpp"
#include "tools/kvrnctl/alarm_table.hpp"
#include "tools/kvrnctl/power_sections.hpp"
#include "tools/kvrnctl/sensors.hpp"
#include "tools/observe/seen.hpp"
#include "tools/snmp/object_table.hpp"

namespace kvrnctl {
namespace {

// NUT's word for a value of the document.
struct Word {
  std::string_view value;
  const char* word;
};

struct Variable {
  const char* name;
  const char* key;
  double scale = 1;
  std::array<Word, 2> words{};  // other values are unknown to NUT
};

// NUT has no name for the temperature of a supply.
constexpr std::array input_variables{
    Variable{"voltage.status", "state", 1, {{{"mains on", "good"}, {"no mains", "critical-low"}}}},
    Variable{"voltage", "voltage_mv", 1e3},
    Variable{"current", "current_ma", 1e3},
};
constexpr std::array battery_variables{
    Variable{"charge", "charge"},
    Variable{"runtime", "runtime"},
    Variable{"charger.status", "state", 1, {{{"charging", "charging"}, {"discharging", "discharging"}}}},
    Variable{"status", "error", 1, {{{"false", "ok"}, {"true", "error"}}}},
    Variable{"voltage", "voltage_mv", 1e3},
    Variable{"current", "current_ma", 1e3},
    Variable{"temperature", "temperature_c"},
    Variable{"capacity", "full_capacity_mah", 1e3},
    Variable{"capacity.nominal", "design_capacity_mah", 1e3},
    Variable{"mfr.date", "manufacture_date"},
};
constexpr std::array outlet_variables{
    Variable{"id", "id"},
    Variable{"status", "enabled", 1, {{{"false", "off"}, {"true", "on"}}}},
    Variable{"voltage", "voltage_mv", 1e3},
    Variable{"current", "current_ma", 1e3},
    Variable{"realpower", "power_mw", 1e3},
};

// Flags that mean that the load is too high.
constexpr std::array<std::string_view, 3> overload_flags{"overload", "output-overload", "ac-outage-overload"};

// Machines behind the device need this time to shut down.
constexpr int low_runtime_s = 300;

json translated(const Variable& variable, const json& value) {
  if (value.is_null()) return nullptr;
  if (variable.words[0].word != nullptr) {
    const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    const auto* const word = std::ranges::find(variable.words, text, &Word::value);
    return word == variable.words.end() ? json(nullptr) : json(word->word);
  }
  return value.is_number() ? json(value.get<double>() / variable.scale) : value;
}

class NutText {
 public:
  void add(const std::string& name, const json& value) {
    text_ += name + ": ";
    if (value.is_number())
      text_ += fmt::format("{}\n", std::round(value.get<double>() * 1e3) / 1e3);
    else
      text_ += quoted(value.is_string() ? value.get<std::string>() : "") + '\n';
  }

  // Several things have numbers from 1: "input.1.voltage". What a thing never measures has a line too.
  template <std::size_t Count>
  void add_list(const std::string& name, const std::array<Variable, Count>& variables, const json& list,
                bool numbered) {
    for (std::size_t i = 0; i < list.size(); ++i)
      for (const Variable& variable : variables)
        add(numbered ? fmt::format("{}.{}.{}", name, i + 1, variable.name) : name + '.' + variable.name,
            translated(variable, list[i].value(variable.key, json(nullptr))));
  }

  // The driver takes each word as one status.
  void add_status(const std::string& words) { text_ += "ups.status: " + (words.empty() ? "\"\"" : words) + '\n'; }

  const std::string& text() const { return text_; }

 private:
  // NUT's parser reads only ASCII, and these three characters have a meaning even between quotes.
  static std::string quoted(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return c < ' ' || c > '~' || c == '"' || c == '\\' || c == '#'; }, '?');
    return '"' + text + '"';
  }

  std::string text_;
};

// Everything becomes unknown except what the thing is.
json forgotten(json list) {
  for (json& entry : list)
    for (auto& [key, value] : entry.items())
      if (key != "id") value = nullptr;
  return list;
}

json of_type(const json& psus, bool battery) {
  json list = json::array();
  for (const json& psu : psus)
    if ((psu["type"] == "battery") == battery) list.push_back(psu);
  return list;
}

// The device's estimate comes first: the device acts on it. A time of 0 is none.
json batteries_of(const json& psus) {
  json list = of_type(psus, true);
  for (json& battery : list) {
    const auto first = [&](const char* estimate, const char* measured) {
      return battery[estimate].is_null() ? battery.value(measured, json(nullptr)) : battery[estimate];
    };
    battery["charge"] = first("estimated_charge_pct", "charge_pct");
    battery["runtime"] = first("estimated_time_s", "time_to_empty_s");
    if (battery["runtime"] == 0) battery["runtime"] = nullptr;
    if (battery["charge"] < 0 || battery["charge"] > 100) battery["charge"] = nullptr;
  }
  return list;
}

// One entry for each output of the board, also if nobody publishes its readings.
json outlets_of(const SensorReading& reading) {
  const json& outputs = reading.section["outputs"];
  if (!outputs.empty()) return reading.output_source["fresh"] == true ? outputs : forgotten(outputs);
  json list = json::array();
  for (int id = 0; id < output_count(); ++id)
    list.push_back({{"id", id}, {"current_ma", nullptr}, {"power_mw", nullptr}});
  return list;
}

bool any(const json& list, const char* key, const json& value) {
  return std::ranges::any_of(list, [&](const json& entry) { return entry[key] == value; });
}

// The sum of all entries; null unless all are known.
json sum(const json& list, const char* key) {
  double total = 0;
  for (const json& entry : list) {
    if (entry[key].is_null()) return nullptr;
    total += entry[key].get<double>();
  }
  return list.empty() ? json(nullptr) : json(total);
}

// The battery that lasts longest.
const json& better(const json& batteries) {
  return *std::ranges::max_element(batteries, {}, [](const json& one) {
    return std::pair(one["charge"], one["runtime"]);  // null is less than any number
  });
}

// A line that cannot be read looks like lost mains in published readings. Only the line itself tells.
bool cannot_read_mains(const json& inputs) {
  const observe::Observer observer;
  for (const json& input : inputs) (void)::is_ac_connected(input["id"].get<int>());
  return std::ranges::any_of(observer.seen(), [](const observe::Seen& read) { return read.failed(); });
}

json greatest(const json& list, const char* key) {
  json best;
  for (const json& entry : list)
    if (best.is_null() || entry[key] > best) best = entry[key];  // null is less than any number
  return best;
}

json alarm_of(const json& flags, const std::string& name) {
  const auto found = std::ranges::find(flags, json(name), [](const json& alarm) { return alarm["name"]; });
  return found == flags.end() ? json{{"raised", nullptr}} : *found;
}

// From the least to the most certain reserve.
enum class Reserve { low, unknown, enough };

Reserve reserve_of_one(const json& battery, const json& flag) {
  const bool nobody_estimates = flag.contains("note");
  if (battery["present"].is_null() || flag["raised"].is_null()) return Reserve::unknown;
  if (flag["raised"] == true && !nobody_estimates) return Reserve::low;
  if (battery["charge"].is_null()) return nobody_estimates ? Reserve::low : Reserve::unknown;
  const bool short_time = !battery["runtime"].is_null() && battery["runtime"] < low_runtime_s;
  return battery["charge"] < kvrn::low_charge_pct || short_time ? Reserve::low : Reserve::enough;
}

// The battery that can do most decides. Without mains and without a battery nothing would run: then a reading is wrong.
Reserve reserve_of(const json& batteries, const json& flags) {
  const json all = alarm_of(flags, "low-voltage-all")["raised"];
  if (all == true) return Reserve::low;
  Reserve best = Reserve::low;
  bool present = false;
  for (const json& battery : batteries) {
    if (battery["present"] == false) continue;
    present = true;
    best = std::max(best, reserve_of_one(battery, alarm_of(flags, "low-voltage." + battery["id"].dump())));
  }
  return all.is_null() || !present ? Reserve::unknown : best;
}

// Empty while it is unknown whether there is mains, or what the batteries can do. NUT's clients take an empty status as
// a lost connection: after their DEADTIME they act as if the battery were low if the last status was OB.
std::string status_words(const json& inputs, const json& batteries, const json& flags) {
  std::string words = "OL";
  if (!any(inputs, "state", "mains on")) {
    const Reserve reserve = reserve_of(batteries, flags);
    if (any(inputs, "state", nullptr) || reserve == Reserve::unknown || cannot_read_mains(inputs)) return "";
    words = reserve == Reserve::low ? "OB LB" : "OB";
  }
  if (any(batteries, "state", "charging")) words += " CHRG";
  if (any(batteries, "state", "discharging")) words += " DISCHRG";
  if (any(batteries, "error", true)) words += " RB";
  const bool over = std::ranges::any_of(flags, [](const json& alarm) {
    const std::string name = alarm["name"];
    return alarm["raised"] == true && std::ranges::count(overload_flags, name.substr(0, name.find('.'))) != 0;
  });
  return over ? words + " OVER" : words;
}

// The raised flags, as "kvrnctl alarms" names them, and what the other variables lack.
std::string alarm_text(const SensorReading& reading, const json& flags, bool power_unit) {
  std::string text;
  const auto add = [&](const std::string& alarm) { text += (text.empty() ? "" : ", ") + alarm; };
  for (const json& alarm : flags)
    if (alarm["raised"] == true)
      add(alarm["name"].get<std::string>() + (alarm.contains("note") ? " (no estimate)" : ""));
  if (reading.psu_source["fresh"] != true) add("readings of the sources are not fresh");
  if (power_unit && reading.output_source["fresh"] != true) add("readings of the outputs are not fresh");
  return text;
}

// The text that the SNMP tree has too.
json firmware_version() {
  snmp_host::ObjectTable table;
  (void)kvrn::add_identity(&table);
  table.finish();
  const auto* const object = table.find(std::array<snmp_host::Arc, 12>{1, 3, 6, 1, 4, 1, 47474, 1, 5, 1, 3, 0});
  return object == nullptr ? json(nullptr) : json(object->bytes);
}

// Nothing tells who made the device. Without these lines the driver would name itself.
void add_identity(NutText& lines, bool has_batteries) {
  const json board = board_section();
  lines.add("device.type", has_batteries ? "ups" : "psu");
  for (const std::string group : {"device", "ups"}) {
    lines.add(group + ".mfr", nullptr);
    lines.add(group + ".model", board["model"]);
  }
  lines.add("device.macaddr", board["base_mac"]);
  lines.add("ups.firmware", firmware_version());
}

void add_batteries(NutText& lines, const json& batteries) {
  if (batteries.empty()) return;
  lines.add("battery.charge.low", kvrn::low_charge_pct);
  lines.add("battery.runtime.low", low_runtime_s);
  lines.add_list("battery", battery_variables, batteries, batteries.size() > 1);
  if (batteries.size() == 1) return;
  for (const char* name : {"charge", "runtime"}) lines.add(std::string("battery.") + name, better(batteries)[name]);
}

// The outputs together, and how much of the power that may be drawn this is.
void add_load(NutText& lines, const json& outlets, const json& available_mw) {
  const auto scaled = [](const json& value) { return value.is_null() ? value : json(value.get<double>() / 1e3); };
  const json drawn_mw = sum(outlets, "power_mw");
  const bool known = !drawn_mw.is_null() && !available_mw.is_null();
  lines.add("output.current", scaled(sum(outlets, "current_ma")));
  lines.add("ups.realpower", scaled(drawn_mw));
  lines.add("ups.realpower.nominal", scaled(available_mw));
  lines.add("ups.load", known ? json(100 * drawn_mw.get<double>() / available_mw.get<double>()) : json(nullptr));
}

}  // namespace

std::string nut_text(const SensorReading& reading, Errors& errors) {
  const bool fresh = reading.psu_source["fresh"] == true;
  json inputs = of_type(reading.section["psus"], false);
  json batteries = batteries_of(reading.section["psus"]);
  if (!fresh) {
    inputs = forgotten(std::move(inputs));
    batteries = forgotten(std::move(batteries));
  }
  // Only a power unit has a budget and outputs. On other boards nothing answers for them.
  const json budget = budget_section(reading.psus, {}, errors);
  const bool power_unit = budget.contains("available_mw");
  const json flags = alarm_list(errors);

  NutText lines;
  add_identity(lines, !batteries.empty());
  const std::string alarm = alarm_text(reading, flags, power_unit);
  const std::string status = status_words(inputs, batteries, flags);
  lines.add("ups.alarm", alarm);
  lines.add_status(status + (status.empty() || alarm.empty() ? "" : " ALARM"));
  lines.add_list("input", input_variables, inputs, inputs.size() > 1);
  add_batteries(lines, batteries);
  if (power_unit) {
    const json outlets = outlets_of(reading);
    lines.add("outlet.count", outlets.size());
    lines.add_list("outlet", outlet_variables, outlets, true);
    add_load(lines, outlets, fresh ? budget["available_mw"] : json(nullptr));
  }
  if (const json& boards = reading.section["board_temperatures"]; !boards.empty())
    lines.add("ups.temperature", greatest(boards, "temperature_c"));
  return lines.text();
}

}  // namespace kvrnctl
