// SPDX-License-Identifier: MIT
#include <fmt/core.h>

#include <charconv>
#include <memory>

#include "tools/kvrnctl/alarm_table.hpp"
#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/format.hpp"
#include "util/handle.hpp"

namespace kvrnctl {
namespace {

struct Options {
  std::string name;
  int value = 0;
  bool dry_run = false;
};

std::string text(const Context& context, const json& list) {
  Table table({"ALARM", "VALUE", "RAISED", "MEANING"});
  for (const json& alarm : list) {
    const bool raised = alarm["raised"] == true;
    table.add({alarm["id"], humanize("value", alarm["value"]),
               painted(context, raised ? Color::bad : Color::dim, humanize("raised", alarm["raised"])),
               alarm["meaning"]});
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

// "output-protection.1" is the flag and its index.
const Alarm* find(const std::string& name, int& index) {
  const std::size_t dot = name.find('.');
  const std::string base = name.substr(0, dot);
  index = 0;
  if (dot != std::string::npos) {
    const char* first = name.data() + dot + 1;
    const char* last = name.data() + name.size();
    const auto [end, error] = std::from_chars(first, last, index);
    if (error != std::errc() || end != last) return nullptr;
  }
  for (const Alarm& alarm : alarms)
    if (base == alarm.name && (alarm.index == Index::none) == (dot == std::string::npos)) return &alarm;
  return nullptr;
}

Result set(const Options& options) {
  Result result;
  int index = 0;
  const Alarm* alarm = find(options.name, index);
  if (alarm == nullptr || alarm->set == nullptr) {
    result.fail(Exit::usage, alarm == nullptr
                                 ? fmt::format("no alarm '{}'; \"kvrnctl alarms\" lists them", options.name)
                                 : fmt::format("'{}' is set by its owner alone", options.name));
    return result;
  }
  if (index < alarm_first(*alarm) || index >= alarm_first(*alarm) + alarm_count(*alarm)) {
    result.fail(Exit::not_on_this_board, fmt::format("this board has no '{}'", options.name));
    return result;
  }
  const int before = alarm->get(index);
  result.data["alarm"] = {
      {"id", options.name}, {"before", before}, {"value", options.value}, {"dry_run", options.dry_run}};
  if (options.dry_run)
    result.text = fmt::format("would set {} from {} to {}\n", options.name, before, options.value);
  else if (!alarm->set(index, options.value)) {
    // A full /tmp lets a file be opened that nothing can be written to: it reads as empty.
    const int now = alarm->get(index);
    result.data["alarm"]["value"] = now;
    // What keeps it from being opened, else from being written.
    const std::string path = alarm->file(index);
    const kvrn::Fd fd = kvrn::Fd::open_regular(path.c_str(), O_WRONLY);
    const std::string why = fd ? "the file system is full" : errno_text(errno);
    // The library takes a file that may be written and not read for one with the default.
    if (fd && !kvrn::Fd::open(path.c_str(), O_RDONLY | O_NONBLOCK)) {
      result.data["alarm"]["value"] = nullptr;
      result.fail(Exit::failed,
                  fmt::format("{} was written but cannot be read back: {}: {}", options.name, path, errno_text(errno)));
      return result;
    }
    result.fail(Exit::failed, fmt::format("{} cannot be set, it is {}: {}: {}", options.name, now, path, why));
  }
  return result;
}

}  // namespace

void add_alarm_commands(CommandLine& line) {
  cli::Command& alarm_commands = line.add("alarms", "The alarm and status flags");
  alarm_commands.action([&line] { line.action = show; });
  const auto options = std::make_shared<Options>();
  cli::Command& command = alarm_commands.command("set", "Set a flag that others may set");
  command.argument("ALARM", &options->name, "As listed, e.g. output-protection.0");
  command.argument("VALUE", &options->value, "A number, as the flag's file holds it");
  command.flag("--dry-run", options->dry_run, "Say what would be set");
  command.action([&line, options] { line.action = [=](const Context&) { return set(*options); }; });
}

}  // namespace kvrnctl
