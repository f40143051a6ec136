// SPDX-License-Identifier: MIT
// watch: a live view from the caches. Without a terminal it prints a plain block a period.
#include <fmt/core.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <memory>

#include "tools/kvrnctl/alarm_table.hpp"
#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/format.hpp"
#include "tools/kvrnctl/power_sections.hpp"
#include "tools/kvrnctl/power_text.hpp"

namespace kvrnctl {
namespace {

using Clock = std::chrono::steady_clock;

struct Options {
  double period_s = 2;
  int count = 0;  // 0: until a signal
};

volatile std::sig_atomic_t ended = 0;

std::string bar(double share, int columns) {
  const int filled = static_cast<int>(std::lround(std::min(std::max(share, 0.0), 1.0) * columns));
  return '[' + std::string(static_cast<std::size_t>(filled), '#') +
         std::string(static_cast<std::size_t>(columns - filled), '.') + ']';
}

std::string load_text(const Context& context, const json& budget) {
  if (budget["available_mw"].is_null()) return fmt::format("Load     {}\n", humanize("drawn_mw", budget["drawn_mw"]));
  const double share = budget["drawn_mw"].get<double>() / budget["available_mw"].get<double>();
  const Color color = share > 1 ? Color::bad : share > 0.9 ? Color::warning : Color::good;
  return fmt::format("Load     {} {} of {}\n", painted(context, color, bar(share, 30)),
                     humanize("drawn_mw", budget["drawn_mw"]), humanize("available_mw", budget["available_mw"]));
}

std::string charge_text(const Context& context, const json& psus) {
  std::string text;
  for (const json& psu : psus) {
    if (psu["type"] != "battery" || psu["charge_pct"].is_null()) continue;
    const double share = psu["charge_pct"].get<double>() / 100;
    const Color color = share < 0.11 ? Color::bad : share < 0.3 ? Color::warning : Color::good;
    text += fmt::format("Charge {} {} {}\n", psu["id"].dump(), painted(context, color, bar(share, 30)),
                        humanize("charge_pct", psu["charge_pct"]));
  }
  return text;
}

std::string alarms_text(const Context& context) {
  std::string text;
  std::vector<std::string> errors;
  for (const json& alarm : alarm_list(errors))
    if (alarm["raised"] == true)
      text += ' ' +
              painted(context, Color::bad, fmt::format("{}={}", alarm["id"].get<std::string>(), alarm["value"].dump()));
  for (const std::string& error : errors) text += ' ' + painted(context, Color::warning, error);
  return "Alarms  " + (text.empty() ? " none" : text) + '\n';
}

std::string view(const Context& context) {
  std::vector<std::string> errors;
  const PsuReading reading = read_psus(Source::automatic);
  const json psus = psu_list(reading, false, errors);
  const OutputReading outputs = read_outputs();
  const json state = state_section(reading);
  std::string text = fmt::format("State    {} {}\n", state["code"].dump(), humanize("meaning", state["meaning"]));
  text += load_text(context, budget_section(reading)) + charge_text(context, psus) + alarms_text(context);
  text += '\n' + psus_text(context, psus) + source_line(reading.source);
  const Color color = outputs.source["fresh"] == true ? Color::none : Color::bad;
  return text + '\n' + outputs_text(context, outputs.list) + painted(context, color, source_line(outputs.source));
}

// Not sleep_until(), which goes on sleeping after a signal.
void wait_until(Clock::time_point then) {
  const auto rest = std::chrono::ceil<std::chrono::milliseconds>(then - Clock::now());
  if (rest.count() > 0) (void)::poll(nullptr, 0, static_cast<int>(rest.count()));
}

Result watch(const Context& context, const Options& options) {
  struct sigaction action {};
  action.sa_handler = [](int) { ended = 1; };
  ::sigaction(SIGINT, &action, nullptr);
  ::sigaction(SIGTERM, &action, nullptr);
  const auto period = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(options.period_s));
  auto next = Clock::now();
  const bool terminal = ::isatty(STDOUT_FILENO) == 1;
  for (int shown = 0; ended == 0 && (options.count == 0 || shown < options.count); ++shown) {
    if (shown > 0) wait_until(next);
    if (ended != 0) break;
    // From view to view, however long a view takes.
    next = std::max(next, Clock::now()) + period;
    // On a terminal the view stays in place: home, text, clear what is left below.
    const std::string text = view(context);
    (void)std::fputs(terminal ? fmt::format("\033[H\033[J{}", text).c_str() : (text + '\n').c_str(), stdout);
    if (!flush_output()) break;
  }
  return {};
}

}  // namespace

void add_watch_command(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  // Not a command with --json: it is a view for people; the documents are those of psu, outputs, budget and alarms.
  cli::Command& command = line.add("watch", "A live view of load, charge, alarms, sources and outputs");
  command.excludes("--json");
  command.option("--period S", &options->period_s, "Time from view to view").range(0.1, 3600, "s");
  command.option("--count N", &options->count, "Views to show; 0 is until a signal").range(0, 1000000);
  command.action([&line, options] { line.action = [=](const Context& context) { return watch(context, *options); }; });
}

}  // namespace kvrnctl
