// SPDX-License-Identifier: MIT
// The charger of a battery: shows its currents, selects one, and switches it on and off.
#include <fmt/core.h>
#include <kvrn/hw.h>
#include <kvrn/psu.h>

#include <memory>

#include "board/platform.hpp"
#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/format.hpp"
#include "tools/kvrnctl/power_text.hpp"
#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

struct ChargeOptions {
  int psu = 2;
  int current_ma = 0;
  std::string on = "on";
  bool dry_run = false;
};

// False, with a failed result, when the board has no such battery.
bool has_battery(const ChargeOptions& options, Result& result) {
  if (options.psu < ::get_psu_count()) return true;
  result.fail(Exit::not_on_this_board, fmt::format("this board has no battery {}", options.psu));
  return false;
}

std::vector<int> currents(int psu) {
  uint32_t list[5]{};
  ::psu_get_charging_options(psu, list);
  std::vector<int> found;
  for (const uint32_t current : list)
    if (current != 0) found.push_back(static_cast<int>(current));
  return found;
}

const kvrn::ChargingRow& row_of(int psu, int index) {
  return kvrn::platform_of(::board_identify()->system_id).charger(psu).currents->at(static_cast<std::size_t>(index));
}

// Whether the lines of the charger select that current; null when one of them cannot be read.
json in_use(int psu, int index, std::vector<std::string>& errors) {
  bool selected = true;
  const observe::Observer observer;
  for (const kvrn::LineLevel& wanted : row_of(psu, index).lines) {
    if (wanted.line == 0) continue;
    const int level = ::gpio_read(wanted.line);
    if (level == KVRN_GPIO_FAILED) {
      note_failures(observer.seen(), errors);
      return nullptr;
    }
    selected = selected && level == wanted.level;
  }
  return selected;
}

Result show(const ChargeOptions& options) {
  Result result;
  if (!has_battery(options, result)) return result;
  json list = json::array();
  Table table({"INDEX", "CURRENT", "IN USE"});
  for (const int current : currents(options.psu)) {
    const json used = in_use(options.psu, static_cast<int>(list.size()), result.errors);
    table.add({std::to_string(list.size()), humanize("current_ma", current), humanize("in_use", used)});
    list.push_back({{"id", list.size()}, {"current_ma", current}, {"in_use", used}});
  }
  const PsuReading reading = read_psus(Source::automatic);
  const json battery = psu_list(reading, false, result.errors)[static_cast<std::size_t>(options.psu)];
  const json unknown = nullptr;
  const json charger{{"charger_enabled", battery.value("charger_enabled", unknown)},
                     {"charging", battery.value("charging", unknown)}};
  result.data["source"] = reading.source;
  result.data["charge"] = {{"id", options.psu}};
  result.data["charge"].update(charger);
  result.data["charge"]["currents"] = std::move(list);
  result.text = table.text() + '\n' + fields(charger, "") + '\n' + source_line(reading.source);
  return result;
}

Result set_current(const ChargeOptions& options) {
  Result result;
  if (!has_battery(options, result)) return result;
  const std::vector<int> list = currents(options.psu);
  const auto found = std::ranges::find(list, options.current_ma);
  if (found == list.end()) {
    result.fail(Exit::usage,
                fmt::format("battery {0} has no charging current {1} mA; \"kvrnctl charge show --psu {0}\" lists them",
                            options.psu, options.current_ma));
    return result;
  }
  const int index = static_cast<int>(found - list.begin());
  result.data["charge"] = {{"id", options.psu}, {"current_ma", options.current_ma}, {"dry_run", options.dry_run}};
  if (options.dry_run) {
    for (const kvrn::LineLevel& line : row_of(options.psu, index).lines)
      if (line.line != 0) result.text += fmt::format("would drive line {} to {}\n", line.line, line.level);
  } else {
    // The result covers only the last line, so all lines are read back.
    (void)::psu_set_charging_current(options.psu, index);
    for (const kvrn::LineLevel& line : row_of(options.psu, index).lines)
      if (line.line != 0 && ::gpio_read(line.line) != line.level)
        result.fail(Exit::failed, fmt::format("line {} cannot be driven; \"kvrnctl doctor\" may say why", line.line));
    if (result.exit == Exit::ok)
      result.text = fmt::format("battery {} charges with at most {} now\n", options.psu,
                                humanize("current_ma", options.current_ma));
  }
  return result;
}

Result enable(const ChargeOptions& options) {
  Result result;
  if (!has_battery(options, result)) return result;
  const bool on = options.on == "on";
  result.data["charge"] = {{"id", options.psu}, {"charger_enabled", on}, {"dry_run", options.dry_run}};
  if (options.dry_run)
    result.text = fmt::format("would switch the charger of battery {} {}\n", options.psu, options.on);
  else if (::psu_set_charge(options.psu, on ? 1 : 0) != 0)
    result.fail(Exit::failed, "the charge-disable line cannot be driven; \"kvrnctl doctor\" may say why");
  else
    result.text = fmt::format("the charger of battery {} is switched {}\n", options.psu, options.on);
  return result;
}

cli::Command& add(CommandLine& line, cli::Command& parent, const char* name, const char* text,
                  const std::shared_ptr<ChargeOptions>& options, Result (*action)(const ChargeOptions&)) {
  cli::Command& command = parent.command(name, text);
  command.option("--psu N", &options->psu, "The battery").range(2, 3);
  command.action([&line, options, action] { line.action = [=](const Context&) { return action(*options); }; });
  return command;
}

}  // namespace

void add_charge_commands(CommandLine& line) {
  cli::Command& charge = line.add("charge", "The charger of a battery");
  const auto options = std::make_shared<ChargeOptions>();
  add(line, charge, "show", "The charging currents it can use", options, show);
  cli::Command& current = add(line, charge, "current", "Use one of its charging currents", options, set_current);
  current.argument("MA", &options->current_ma, "In mA, as listed");
  current.flag("--dry-run", options->dry_run, "Say what would be driven");
  cli::Command& switched = add(line, charge, "enable", "Switch it on or off", options, enable);
  switched.argument("STATE", &options->on, "Whether it charges").choice({"on", "off"});
  switched.flag("--dry-run", options->dry_run, "Say what would be done");
}

}  // namespace kvrnctl
