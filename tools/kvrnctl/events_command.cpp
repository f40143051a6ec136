// SPDX-License-Identifier: MIT
// events: a line for each change of flags, sources, outputs and device state.
#include <fmt/core.h>

#include <map>
#include <memory>

#include "tools/kvrnctl/alarm_table.hpp"
#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/format.hpp"
#include "tools/kvrnctl/power_sections.hpp"
#include "tools/kvrnctl/stream.hpp"

namespace kvrnctl {
namespace {

// A value, by the path that "kvrnctl get" knows: "psu.0.state".
struct Value {
  json now;
  std::string meaning;  // for people; empty when the value speaks for itself
};
using Look = std::map<std::string, Value>;

void add_list(Look& look, const char* section, const json& list, std::initializer_list<const char*> keys, bool known) {
  for (const json& entry : list)
    for (const char* key : keys)
      if (entry.contains(key))
        look[fmt::format("{}.{}.{}", section, entry["id"].dump(), key)] = {known ? entry[key] : json(nullptr), ""};
}

// Measured values are left out: they change in each look.
Look look_at_device(Errors& errors) {
  Look look;
  const PsuReading reading = read_psus(Source::automatic);
  add_list(look, "psu", psu_list(reading, false, errors), {"state", "charger_enabled", "highest_charging_current"},
           true);
  const OutputReading outputs = read_outputs();
  errors.insert(errors.end(), outputs.errors.begin(), outputs.errors.end());
  // Old readings may be of any time: what they say is unknown.
  add_list(look, "outputs", outputs.list, {"enabled", "state"}, outputs.source["fresh"] == true);
  const json state = state_section(reading, errors);
  look["state.code"] = {state["code"], state["meaning"].is_null() ? "" : state["meaning"]};
  for (const json& alarm : alarm_list(errors))
    look[fmt::format("alarms.{}.value", alarm["name"].get<std::string>())] = {
        alarm["value"], alarm.value("note", alarm["meaning"].get<std::string>())};
  return look;
}

// What was told last about a subject.
class Subject {
 public:
  // @return whether the value differs from `told`, and is sure enough to tell. A value that is unknown in one look only
  // is no change: a read may fail while another program uses the bus.
  bool changes_to(const json& value) {
    misses_ = value.is_null() ? misses_ + 1 : 0;
    if (misses_ == 1) return false;
    return known_ && value != told;
  }

  void tell(const json& value) {
    if (misses_ == 1) return;
    told = value;
    known_ = true;
  }

  json told;

 private:
  int misses_ = 0;
  bool known_ = false;  // the first value is the one from which changes count
};

std::string event_text(const Context& context, const std::string& time, const std::string& name, const json& from,
                       const Value& to) {
  if (context.json) {
    Result result;
    result.data["event"] = {{"time", time}, {"subject", name}, {"from", from}, {"to", to.now}};
    if (!to.meaning.empty()) result.data["event"]["meaning"] = to.meaning;
    return output_text(context, result, one_line);
  }
  const std::string key = name.substr(name.rfind('.') + 1);
  return fmt::format("{} {}: {} -> {}{}\n", time, name, humanize(key, from), humanize(key, to.now),
                     to.meaning.empty() || to.now.is_null() ? "" : " (" + to.meaning + ')');
}

Result events(const Context& context, double period_s) {
  std::map<std::string, Subject> subjects;
  Stream stream(period_s, true);
  Told told;
  while (stream.next()) {
    Errors errors;
    const std::string time = utc_now();
    Look look = look_at_device(errors);
    told.see(context, errors);
    if (subjects.empty()) context.note(fmt::format("{} values from now on", look.size()));
    // A source whose readings could not be read at all is unknown too.
    for (const auto& [name, subject] : subjects) look.try_emplace(name);
    std::string text;
    for (const auto& [name, value] : look) {
      Subject& subject = subjects[name];
      if (subject.changes_to(value.now)) text += event_text(context, time, name, subject.told, value);
      subject.tell(value.now);
    }
    if (!text.empty()) stream.print(text);
  }
  Result result;
  result.printed = true;
  result.exit = stream.exit();
  return result;
}

}  // namespace

void add_events_command(CommandLine& line) {
  const auto period_s = std::make_shared<double>(2);
  cli::Command& command = line.add("events", "A line for each change of flags, sources, outputs and device state");
  command.option("--every SECONDS", period_s.get(), "Time from look to look").range(0.1, 3600, "s");
  command.action(
      [&line, period_s] { line.action = [period_s](const Context& context) { return events(context, *period_s); }; });
}

}  // namespace kvrnctl
