// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/check.hpp"

#include <fmt/core.h>
#include <kvrn/status.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "tools/kvrnctl/alarm_table.hpp"
#include "tools/kvrnctl/power_sections.hpp"

namespace kvrnctl {
namespace {

// From the least to the most important: a known fault counts more than a value that is unknown.
enum class Severity { ok, unknown, warning, critical };

struct Grade {
  const char* word;
  int status;
};
constexpr std::array<Grade, 4> grades{{{"OK", 0}, {"UNKNOWN", 3}, {"WARNING", 1}, {"CRITICAL", 2}}};

struct Finding {
  Severity severity;
  std::string text;
};

struct Device {
  PsuReading reading;
  json psus;
  OutputReading outputs;
  json budget;
  json state;
  json alarms;
  Errors errors;  // why values are unknown
};

Device look() {
  Device device;
  device.reading = read_psus(Source::automatic);
  device.psus = psu_list(device.reading, false, device.errors);
  device.outputs = read_outputs();
  Errors unread;
  device.budget = budget_section(device.reading, device.outputs, unread);
  // Only a power unit has outputs. On other boards nothing answers for them.
  if (device.budget.contains("available_mw"))
    device.errors.insert(device.errors.end(), unread.begin(), unread.end());
  else
    device.outputs.list = json::array();
  device.state = state_section(device.reading, device.errors);
  device.alarms = alarm_list(device.errors);
  return device;
}

class Judge {
 public:
  explicit Judge(const std::vector<std::string>& ignored) : ignored_(ignored) {}

  // "psu.1" ignores PSU 1, but not PSU 10.
  bool ignores(const std::string& subject) const {
    return std::ranges::any_of(ignored_, [&](const std::string& name) {
      return subject == name || (subject.starts_with(name) && subject[name.size()] == '.');
    });
  }

  void add(Severity severity, std::string text) { findings_.push_back({severity, std::move(text)}); }

  // Without access the board would be a generic one, on which nothing can fail.
  void board() {
    const observe::Observer observer;
    (void)board_section();
    for (const observe::Seen& read : observer.seen()) {
      const bool refused = read.failed() && (read.what.error == EACCES || read.what.error == EPERM);
      if (refused && read.what.fact == KVRN_FACT_CALIBRATION)
        add(Severity::unknown, fmt::format("the board is unknown: {}: {}", read.source(), read.answer()));
    }
    if (!board_is_known()) add(Severity::unknown, "the board is unknown");
  }

  void alarm(const json& entry) {
    const std::string name = entry["name"];
    if (ignores(name)) return;
    if (entry["value"].is_null()) return add(Severity::unknown, name + " is unknown");
    if (entry["raised"] == false) return;
    const std::string text = fmt::format("{}={}", name, entry["value"].dump());
    // Nobody estimates the charge: the device then acts as if the battery were nearly empty.
    if (entry.contains("note")) return add(Severity::warning, text + " (no estimate)");
    const auto* const row = std::ranges::find(alarms, name.substr(0, name.find('.')), &Alarm::name);
    add(entry["value"] < row->critical_from ? Severity::warning : Severity::critical, text);
  }

  void sources(const json& psus) {
    json judged = json::array();
    for (const json& psu : psus)
      if (!ignores("psu." + psu["id"].dump())) judged.push_back(psu);
    // Without mains on any input, only the battery is left.
    const bool mains = std::ranges::any_of(judged, [](const json& psu) {
      return psu["type"] != "battery" && (psu["state"] == "mains on" || psu["state"].is_null());
    });
    for (const json& psu : judged) source(psu, mains);
  }

  void outputs(const OutputReading& reading) {
    if (reading.list.empty() || ignores("outputs")) return;
    if (reading.source["fresh"] != true)
      return add(Severity::unknown, fmt::format("the readings of the outputs are not fresh ({})",
                                                reading.source["reason"].get<std::string>()));
    for (const json& entry : reading.list)
      if (!ignores("outputs." + entry["id"].dump())) output(entry);
  }

  // Only what no flag, source or output tells.
  void state(const json& state) {
    if (ignores("state")) return;
    if (state["code"].is_null()) return add(Severity::unknown, "the device state is unknown");
    const int code = state["code"];
    const bool noted = state.contains("note");
    const bool critical = code == KVRN_DEVICE_BATTERY_ERROR || (code == KVRN_DEVICE_LOW_VOLTAGE && !noted);
    if (critical || code == KVRN_DEVICE_OFF) add(critical ? Severity::critical : Severity::warning, state["meaning"]);
  }

  void unread(const Errors& errors) {
    if (!errors.empty())
      add(Severity::unknown, fmt::format("{} reads failed, \"kvrnctl doctor\" shows them", errors.size()));
  }

  std::vector<Finding> findings() {
    std::ranges::stable_sort(findings_, std::ranges::greater(), &Finding::severity);
    return std::move(findings_);
  }

 private:
  void source(const json& psu, bool mains) {
    const std::string name = "PSU " + psu["id"].dump() + ' ';
    if (psu["type"] == "unknown") return add(Severity::unknown, name + "is unknown");
    const json& state = psu["state"];
    if (state.is_null()) return add(Severity::unknown, name + "is unknown");
    if (state == "absent") return add(Severity::warning, name + "battery is absent");
    if (state == "no mains" || state == "empty slot")
      add(mains ? Severity::warning : Severity::critical, name + state.get<std::string>());
  }

  void output(const json& output) {
    const std::string name = "output " + output["id"].dump() + ' ';
    const json& state = output["state"];
    if (output["enabled"].is_null()) return add(Severity::unknown, name + "is unknown");
    if (state == "overload") return add(Severity::warning, name + "overload");
    const bool lost = state == "off" && output["configured"] == "on";
    if (lost || state == "shed" || state == "protected") add(Severity::critical, name + state.get<std::string>());
  }

  const std::vector<std::string>& ignored_;
  std::vector<Finding> findings_;
};

// One number behind the '|'. Volts, amperes, watts and degrees have no unit in this format, only percent has one.
class Figures {
 public:
  void add(const std::string& label, const json& value, double scale, const char* rest = "") {
    if (value.is_number()) text_ += fmt::format(" '{}'={}{}", label, value.get<double>() / scale, rest);
  }
  std::string text() const { return text_.empty() ? "" : " |" + text_; }

 private:
  std::string text_;
};

std::string figures(const Device& device) {
  constexpr const char* percent = "%;;;0;100";
  Figures figures;
  for (const json& psu : device.psus) {
    const std::string name = fmt::format("psu{}_", psu["id"].dump());
    const auto add = [&](const char* label, const char* key, double scale, const char* rest = "") {
      figures.add(name + label, psu.value(key, json(nullptr)), scale, rest);
    };
    add("voltage", "voltage_mv", 1e3);
    add("current", "current_ma", 1e3);
    add("temperature", "temperature_c", 1);
    add("charge", "charge_pct", 1, percent);
    if (psu["type"] != "battery") continue;
    const json estimate = battery_estimate(psu["id"]);
    if (estimate["estimated_charge_pct"] >= 0)
      figures.add(name + "estimated_charge", estimate["estimated_charge_pct"], 1, percent);
  }
  const bool fresh = device.outputs.source["fresh"] == true;
  for (const json& output : device.outputs.list)
    if (fresh) figures.add(fmt::format("output{}_power", output["id"].dump()), output["power_mw"], 1e3, ";;;0");
  const json available = device.budget.value("available_mw", json(nullptr));
  const std::string most = available.is_null() ? "" : fmt::format(";;;0;{}", available.get<double>() / 1e3);
  if (fresh && !available.is_null()) figures.add("load", device.budget["drawn_mw"], 1e3, most.c_str());
  return figures.text();
}

// The line has one '|', and neither it nor the text may hold another or a line end.
std::string plain(std::string text) {
  std::ranges::replace_if(
      text, [](char c) { return c == '|' || c == '\n'; }, ' ');
  return text;
}

}  // namespace

std::string not_a_subject(const std::string& text) {
  const std::string first = text.substr(0, text.find('.'));
  const bool known = first == "psu" || first == "outputs" || first == "state" ||
                     std::ranges::find(alarms, first, &Alarm::name) != alarms.end();
  return known ? "" : fmt::format("'{}' is no source (psu.1), output (outputs.0), flag, or \"state\"", text);
}

Result check(const std::vector<std::string>& ignored) {
  Judge judge(ignored);
  judge.board();
  const Device device = look();
  judge.sources(device.psus);
  judge.outputs(device.outputs);
  for (const json& alarm : device.alarms) judge.alarm(alarm);
  judge.state(device.state);
  judge.unread(device.errors);
  std::string text;
  const std::vector<Finding> findings = judge.findings();
  for (const Finding& finding : findings) text += (text.empty() ? "" : ", ") + finding.text;
  if (findings.empty()) text = device.state["meaning"].is_null() ? "no fault" : device.state["meaning"];
  const Grade& grade = grades[static_cast<std::size_t>(findings.empty() ? Severity::ok : findings.front().severity)];
  Result result;
  result.text = fmt::format("KVRN {} - {}{}\n", grade.word, plain(text), figures(device));
  result.exit = static_cast<Exit>(grade.status);  // the numbers are the plugins', not the program's
  return result;
}

}  // namespace kvrnctl
