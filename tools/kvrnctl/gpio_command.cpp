// SPDX-License-Identifier: MIT
#include <fmt/core.h>
#include <kvrn/hw.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <memory>
#include <optional>

#include "hw/gpio_number.hpp"
#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/format.hpp"
#include "tools/kvrnctl/gpio_lines.hpp"
#include "tools/kvrnctl/line_table.hpp"
#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

// A line as the user names it: a packed number, or CHIP:NAME.
struct LineName {
  std::string text;
  std::uint32_t chip = 0;
  std::optional<std::uint32_t> number;
  std::string name;
};

std::optional<std::uint32_t> to_number(std::string_view text) {
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<LineName> parse_line(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) {
    const auto number = to_number(text);
    if (!number || kvrn::gpio_chip_index(*number) >= kvrn::gpio_chips.size()) return std::nullopt;
    return LineName{text, kvrn::gpio_chip_index(*number), number, {}};
  }
  const auto chip = to_number(std::string_view(text).substr(0, colon));
  if (!chip || *chip >= kvrn::gpio_chips.size() || colon + 1 == text.size()) return std::nullopt;
  return LineName{text, *chip, std::nullopt, text.substr(colon + 1)};
}

std::string check_line(const std::string& text) {
  return parse_line(text) ? "" : fmt::format("'{}' is no line: give CHIP*100+OFFSET or CHIP:NAME, chip 0 to 2", text);
}

struct GpioOptions {
  std::string line;
  bool as_input = false;
  std::uint32_t value = 0;
  bool dry_run = false;
  bool force = false;
};

int read(const LineName& line, bool as_input) {
  if (line.number) return as_input ? ::gpio_read_force(*line.number) : ::gpio_read(*line.number);
  const char* chip = ::get_chip_path(line.chip);
  return as_input ? ::gpio_read_by_name_force(chip, line.name.c_str()) : ::gpio_read_by_name(chip, line.name.c_str());
}

int write(const LineName& line, std::uint32_t value) {
  if (line.number) return ::gpio_write(*line.number, value);
  return ::gpio_write_by_name(::get_chip_path(line.chip), line.name.c_str(), value);
}

json describe(const LineName& line) {
  const auto number = line.number ? line.number : find_line(line.chip, line.name);
  json out{{"line", number ? json(*number) : json(nullptr)},
           {"chip", ::get_chip_path(line.chip)},
           {"offset", number ? json(kvrn::gpio_offset(*number)) : json(nullptr)}};
  if (!line.name.empty()) out["name"] = line.name;
  return out;
}

// The last read that was seen tells why the line could not be used, in the kernel's words.
void fail(Result& result, const LineName& line, const observe::Observer& observer) {
  result.fail(Exit::failed, fmt::format("line {}: {}", line.text, observer.seen().back().answer()));
}

Result get(const GpioOptions& options) {
  const LineName line = *parse_line(options.line);
  const observe::Observer observer;
  const int value = read(line, options.as_input);
  Result result;
  json entry = describe(line);
  entry["value"] = value == KVRN_GPIO_FAILED ? json(nullptr) : json(value);
  result.text = humanize("value", entry["value"]) + '\n';
  if (value == KVRN_GPIO_FAILED) fail(result, line, observer);
  result.data["gpio"] = std::move(entry);
  return result;
}

// Finds the line among the board's inputs. Null when the line may be driven.
const BoardLine* input_among(const std::vector<BoardLine>& known, std::optional<std::uint32_t> number) {
  const auto found = std::ranges::find_if(
      known, [&](const BoardLine& entry) { return entry.number == number && !entry.readers.empty(); });
  return found == known.end() ? nullptr : &*found;
}

// Why the line should not be driven: it is an input of the board. Empty when it may be driven.
std::string objection(const LineName& line) {
  const std::vector<BoardLine> known = board_lines();
  const BoardLine* input = input_among(known, line.number ? line.number : find_line(line.chip, line.name));
  if (input == nullptr) return "";
  return fmt::format("line {} is an input of this board ({}): driving it falsifies {}; --force drives it all the same",
                     line.text, input->use, input->readers);
}

Result set(const Context& context, const GpioOptions& options) {
  const LineName line = *parse_line(options.line);
  if (const std::string why = options.force ? "" : objection(line); !why.empty()) {
    Result refused;
    refused.fail(Exit::usage, why);
    return refused;
  }
  const observe::Observer observer;
  const int before = read(line, false);
  const bool needed = before != static_cast<int>(options.value);
  Result result;
  json entry = describe(line);
  entry["before"] = before == KVRN_GPIO_FAILED ? json(nullptr) : json(before);
  entry["value"] = options.value;
  entry["dry_run"] = options.dry_run;
  if (options.dry_run) {
    entry["would_drive"] = needed;
    result.text = needed ? fmt::format("would drive line {} from {} to {}\n", line.text,
                                       humanize("value", entry["before"]), options.value)
                         : fmt::format("line {} is {} already\n", line.text, options.value);
    if (before == KVRN_GPIO_FAILED) fail(result, line, observer);
  } else if (write(line, options.value) != 0) {
    fail(result, line, observer);
  } else {
    context.note(needed ? "the line was driven; nothing holds it now" : "the line had that level already");
  }
  result.data["gpio"] = std::move(entry);
  return result;
}

// The use of a line on this board; empty when the library does not use the line.
std::string use_of(const std::vector<BoardLine>& known, std::uint32_t number) {
  std::string text;
  for (const BoardLine& entry : known)
    if (entry.number == number) text += (text.empty() ? "" : "; ") + entry.use;
  return text;
}

// Levels are not listed: reading a level holds the line for a moment, and another program may want the line just then.
Result list(const Context&) {
  Result result;
  json lines = json::array();
  Table table({"LINE", "NAME", "DIRECTION", "HELD BY", "ON THIS BOARD"});
  const std::vector<BoardLine> known = board_lines();
  for (std::uint32_t chip = 0; chip < kvrn::gpio_chips.size(); ++chip) {
    const auto infos = lines_of_chip(chip);
    if (!infos) result.fail(Exit::failed, fmt::format("{}: {}", ::get_chip_path(chip), errno_text(errno)));
    for (const LineInfo& info : infos.value_or(std::vector<LineInfo>())) {
      const std::uint32_t number = kvrn::gpio_packed(chip, info.offset);
      const std::string use = use_of(known, number);
      if (use.empty() && info.name.empty() && !info.held) continue;
      const char* holder = !info.held ? "-" : info.consumer.empty() ? "no name given" : info.consumer.c_str();
      table.add({std::to_string(number), info.name.empty() ? "-" : info.name, info.output ? "output" : "input", holder,
                 use.empty() ? "-" : use});
      json entry{{"line", number},        {"chip", ::get_chip_path(chip)},
                 {"offset", info.offset}, {"direction", info.output ? "output" : "input"},
                 {"held", info.held},     {"board_input", input_among(known, number) != nullptr}};
      if (!info.name.empty()) entry["name"] = info.name;
      if (!info.consumer.empty()) entry["consumer"] = info.consumer;
      if (!use.empty()) entry["use"] = use;
      lines.push_back(std::move(entry));
    }
  }
  result.text = table.text();
  result.data["lines"] = std::move(lines);
  return result;
}

cli::Command& add(cli::Command& parent, const char* name, const char* description,
                  const std::shared_ptr<GpioOptions>& options) {
  cli::Command& command = parent.command(name, description);
  command.argument("LINE", &options->line, "CHIP*100+OFFSET (111 is chip 1, offset 11), or CHIP:NAME")
      .check(check_line);
  return command;
}

}  // namespace

void add_gpio_commands(CommandLine& line) {
  cli::Command& gpio = line.add("gpio", "List, read or drive GPIO lines");
  const auto options = std::make_shared<GpioOptions>();
  cli::Command& get_command = add(gpio, "get", "Print the level of a line: 0 or 1", options);
  get_command.flag("--as-input", options->as_input, "Turn the line into an input first");
  get_command.action([&line, options] { line.action = [=](const Context&) { return get(*options); }; });

  cli::Command& set_command = add(gpio, "set", "Drive a line, unless it has that level already", options);
  set_command.footer(
      "The line is first driven inactive and then to its level. Nothing holds the level after the "
      "command: another program, or the driver, may change it at once.");
  set_command.argument("VALUE", &options->value, "0 inactive, 1 active").choice({"0", "1"});
  set_command.flag("--dry-run", options->dry_run, "Read the line and say what would be done");
  set_command.action(
      [&line, options] { line.action = [=](const Context& context) { return set(context, *options); }; });
  set_command.flag("--force", options->force, "Drive a line that the board reads as an input");
  gpio.command("list", "The lines that have a name, a holder or a part on this board").action([&line] {
    line.action = list;
  });
}

}  // namespace kvrnctl
