// SPDX-License-Identifier: MIT
#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <memory>

#include "tools/cli/nearest.hpp"
#include "tools/kvrnctl/alarm_table.hpp"
#include "tools/kvrnctl/check.hpp"
#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/format.hpp"
#include "util/handle.hpp"

namespace kvrnctl {
namespace {

struct CheckOptions {
  bool check = false;
  std::vector<std::string> ignored;
};

struct AlarmOptions {
  std::string name;
  int value = 0;
  bool dry_run = false;
};

std::string text(const Context& context, const json& list) {
  Table table({"ALARM", "VALUE", "RAISED", "MEANING"});
  for (const json& alarm : list) {
    const bool raised = alarm["raised"] == true;
    table.add({alarm["name"], humanize("value", alarm["value"]),
               painted(context, raised ? Color::bad : Color::dim, humanize("raised", alarm["raised"])),
               alarm.value("note", alarm["meaning"].get<std::string>())});
  }
  return table.text();
}

Result show(const Context& context) {
  Result result;
  result.data["alarms"] = alarm_list(result.errors);
  if (!result.errors.empty()) result.exit = Exit::failed;
  result.text = text(context, result.data["alarms"]);
  return result;
}

// The number after the dot of "output-protection.1"; -1 when the text is not a number.
int index_of(std::string_view text) {
  int index = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), index);
  return error == std::errc() && end == text.data() + text.size() ? index : -1;
}

std::string ids_of(const Alarm& alarm) {
  const std::string first = fmt::format("{}.{}", alarm.name, alarm_first(alarm));
  const int count = alarm_count(alarm);
  return count == 1 ? first : fmt::format("{} to {}.{}", first, alarm.name, alarm_first(alarm) + count - 1);
}

// A hint for a wrong name: the alarm that was probably meant, or the command that lists all alarms.
std::string meant_by(const std::string& name) {
  std::vector<std::string> known;
  known.reserve(alarms.size());
  for (const Alarm& alarm : alarms) known.emplace_back(alarm.name);
  const std::string meant = cli::meant(name.substr(0, name.find('.')), known);
  return meant.empty() ? "; \"kvrnctl alarms\" lists them" : meant;
}

// Finds the flag with this name, and its index. Null, with a failed result, when others may not set such a flag.
const Alarm* find(const std::string& name, int& index, Result& result) {
  const std::size_t dot = name.find('.');
  const auto* const alarm = std::ranges::find(alarms, name.substr(0, dot), &Alarm::name);
  index = dot == std::string::npos ? -1 : index_of(name.substr(dot + 1));
  if (alarm == alarms.end())
    result.fail(Exit::usage, fmt::format("no alarm '{}'{}", name, meant_by(name)));
  else if (alarm->set == nullptr)
    result.fail(Exit::usage, fmt::format("'{}' is set by the device's own power program, which is not part of kvrn, "
                                         "and by nobody else",
                                         name));
  else if (alarm->index == Index::none && dot != std::string::npos)
    result.fail(Exit::usage, fmt::format("'{}' has no number behind it", alarm->name));
  else if (alarm->index != Index::none && index < 0)
    result.fail(Exit::usage, fmt::format("which '{}'? this board has {}", alarm->name, ids_of(*alarm)));
  else if (index >= alarm_first(*alarm) + alarm_count(*alarm))
    result.fail(Exit::not_on_this_board, fmt::format("this board has no '{}'", name));
  index = std::max(index, 0);
  return result.exit == Exit::ok ? alarm : nullptr;
}

Result set(const AlarmOptions& options) {
  Result result;
  int index = 0;
  const Alarm* alarm = find(options.name, index, result);
  if (alarm == nullptr) return result;
  const int before = alarm->get(index);
  result.data["alarm"] = {
      {"name", options.name}, {"before", before}, {"value", options.value}, {"dry_run", options.dry_run}};
  if (options.dry_run) {
    result.text = fmt::format("would set {} from {} to {}\n", options.name, before, options.value);
  } else if (!alarm->set(index, options.value)) {
    // On a full /tmp the file can be opened, but nothing can be written. The file is then empty.
    const int now = alarm->get(index);
    result.data["alarm"]["value"] = now;
    // The reason why the file cannot be opened, or else why it cannot be written.
    const std::string path = alarm->file(index);
    const kvrn::Fd fd = kvrn::Fd::open_regular(path.c_str(), O_WRONLY);
    const std::string why = fd ? "the file system is full" : errno_text(errno);
    // For a file that can be written but not read, the library returns the default value.
    if (fd && !kvrn::Fd::open(path.c_str(), O_RDONLY | O_NONBLOCK)) {
      result.data["alarm"]["value"] = nullptr;
      result.fail(Exit::failed,
                  fmt::format("{} was written but cannot be read back: {}: {}", options.name, path, errno_text(errno)));
      return result;
    }
    result.fail(Exit::failed, fmt::format("{} cannot be set, it is {}: {}: {}", options.name, now, path, why));
  } else {
    result.text = fmt::format("{} was {}, is {}\n", options.name, before, alarm->get(index));
  }
  return result;
}

}  // namespace

void add_alarm_commands(CommandLine& line) {
  cli::Command& alarm_commands = line.add("alarms", "The alarm and status flags");
  const auto checked = std::make_shared<CheckOptions>();
  alarm_commands.flag("--check", checked->check, "One line and exit status 0 to 3, as monitoring plugins answer")
      .excludes("--json");
  alarm_commands
      .option("--ignore SUBJECT", &checked->ignored,
              "With --check: what is as it should be, e.g. psu.1; may be given again")
      .check(not_a_subject);
  alarm_commands.action([&line, checked] {
    if (!checked->check && !checked->ignored.empty()) throw cli::WrongUsage{"--ignore goes with --check"};
    line.action = [checked](const Context& context) {
      return checked->check ? check(checked->ignored) : show(context);
    };
  });
  const auto options = std::make_shared<AlarmOptions>();
  cli::Command& command = alarm_commands.command("set", "Set a flag that others may set");
  command.excludes("--check");
  command.argument("ALARM", &options->name, "As listed, e.g. output-protection.0");
  command.argument("VALUE", &options->value, "A number, as the flag's file holds it");
  command.flag("--dry-run", options->dry_run, "Say what would be set");
  command.action([&line, options] { line.action = [=](const Context&) { return set(*options); }; });
}

}  // namespace kvrnctl
