// SPDX-License-Identifier: MIT
// watch: a live view of the readings. Without a terminal it prints one plain block per period.
#include <fmt/core.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <memory>

#include "tools/kvrnctl/alarm_table.hpp"
#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/format.hpp"
#include "tools/kvrnctl/power_sections.hpp"
#include "tools/kvrnctl/power_text.hpp"

namespace kvrnctl {
namespace {

using Clock = std::chrono::steady_clock;

struct WatchOptions {
  double period_s = 2;
  int count = 0;  // 0: until a signal
};

volatile std::sig_atomic_t ended = 0;
volatile std::sig_atomic_t resized = 0;

// In a narrow window the bar is shorter, so that the figures after it still fit.
std::string bar(double share) {
  constexpr int figures = 32;
  const int columns = std::clamp(static_cast<int>(terminal_columns()) - figures, 4, 30);
  const int filled = static_cast<int>(std::lround(std::min(std::max(share, 0.0), 1.0) * columns));
  return '[' + std::string(static_cast<std::size_t>(filled), '#') +
         std::string(static_cast<std::size_t>(columns - filled), '.') + ']';
}

std::string load_text(const Context& context, const json& budget) {
  const json available = budget.value("available_mw", json(nullptr));
  if (available.is_null() || budget["drawn_mw"].is_null())
    return fmt::format("Load     {}\n", humanize("drawn_mw", budget["drawn_mw"]));
  const double share = budget["drawn_mw"].get<double>() / available.get<double>();
  const Color color = share > 1 ? Color::bad : share > 0.9 ? Color::warning : Color::good;
  return fmt::format("Load     {} {} of {}\n", painted(context, color, bar(share)),
                     humanize("drawn_mw", budget["drawn_mw"]), humanize("available_mw", available));
}

std::string charge_text(const Context& context, const json& psus) {
  std::string text;
  for (const json& psu : psus) {
    const json charge = psu.value("charge_pct", json(nullptr));
    if (psu["type"] != "battery" || charge.is_null()) continue;
    const double share = charge.get<double>() / 100;
    const Color color = share < 0.11 ? Color::bad : share < 0.3 ? Color::warning : Color::good;
    text += fmt::format("Charge {} {} {}\n", psu["id"].dump(), painted(context, color, bar(share)),
                        humanize("charge_pct", charge));
  }
  return text;
}

std::string alarms_text(const Context& context, Errors errors) {
  std::string text;
  for (const json& alarm : alarm_list(errors)) {
    if (alarm["raised"] != true) continue;
    const bool noted = alarm.contains("note");
    text += ' ' + painted(context, noted ? Color::warning : Color::bad,
                          fmt::format("{}={}{}", alarm["name"].get<std::string>(), alarm["value"].dump(),
                                      noted ? " (no estimate)" : ""));
  }
  for (const std::string& error : errors) text += ' ' + painted(context, Color::warning, error);
  return folded("Alarms  " + (text.empty() ? " none" : text), 9);
}

// The most important lines come first, because a small window shows only these.
std::string view(const Context& context) {
  std::vector<std::string> errors;
  const PsuReading reading = read_psus(Source::automatic);
  const json psus = psu_list(reading, false, errors);
  const OutputReading outputs = read_outputs();
  const json state = state_section(reading, errors);
  std::string text = fmt::format("State    {} {}\n", state["code"].is_null() ? "-" : state["code"].dump(),
                                 humanize("meaning", state["meaning"]));
  text += load_text(context, budget_section(reading, outputs, errors)) + charge_text(context, psus);
  text += alarms_text(context, errors);
  const bool fresh = outputs.source["fresh"] == true;
  if (!fresh) text += painted(context, Color::bad, "The readings of the outputs are not fresh.") + '\n';
  text += '\n' + psus_text(context, psus) + '\n' + source_line(reading.source);
  std::string source = source_line(outputs.source);
  source.pop_back();  // fitted() needs the line end after the end of the colour
  return text + '\n' + outputs_text(context, outputs.list) + '\n' +
         painted(context, fresh ? Color::none : Color::bad, source) + '\n';
}

std::string header(const WatchOptions& options) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  char clock[32] = "";
  if (::localtime_r(&now, &local) != nullptr) (void)std::strftime(clock, sizeof clock, "%F %T", &local);
  return fmt::format("kvrnctl watch    {}    every {:g} s, q ends\n", clock, options.period_s);
}

// The number of rows of the window; no limit when the window has no size.
std::size_t window_rows() {
  winsize size{};
  return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 ? size.ws_row : SIZE_MAX;
}

// Cuts a view to the rows of a window: removes first the empty lines, then the last lines. The last line has no line
// end, because the window would scroll.
std::string fitted(std::string text, std::size_t rows) {
  text.pop_back();
  const auto ends = [&] { return static_cast<std::size_t>(std::ranges::count(text, '\n')); };
  for (std::size_t empty = 0; ends() >= rows && (empty = text.find("\n\n")) != std::string::npos;) text.erase(empty, 1);
  while (ends() >= rows) text.resize(text.rfind('\n'));
  return text;
}

// Shows the views. On a terminal, keys are read at once and without echo, and long lines are cut at the window's edge.
class Screen {
 public:
  Screen() {
    for (const int signal : {SIGINT, SIGTERM})
      handle(
          signal, [](int) { ended = 1; }, 0);
    if (!on_terminal_) return;
    for (const int signal : {SIGHUP, SIGQUIT})
      handle(
          signal, [](int) { ended = 1; }, 0);
    handle(
        SIGWINCH, [](int) { resized = 1; }, SA_RESTART);
  }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
  ~Screen() {
    if (keys_ && in_front()) ::tcsetattr(STDIN_FILENO, TCSADRAIN, &before_);
    if (on_terminal_) (void)std::fputs("\033[?7h\n", stdout);
  }

  // On a terminal each view replaces the last one: cursor home, clear, text. @return false when writing failed
  bool show(const WatchOptions& options, const std::string& text) {
    take_keys();
    const std::string out =
        on_terminal_ ? "\033[?7l\033[H\033[J" + fitted(header(options) + text, window_rows()) + "\033[0m" : text + '\n';
    (void)std::fputs(out.c_str(), stdout);
    return flush_output();
  }

  // Waits until the time `then`, a signal, or a key. @return whether the wait is over
  bool wait_until(Clock::time_point then) const {
    const auto rest = std::max<std::chrono::nanoseconds>(then - Clock::now(), std::chrono::nanoseconds::zero());
    const auto whole = std::chrono::floor<std::chrono::seconds>(rest);
    const timespec timeout{static_cast<time_t>(whole.count()), static_cast<long>((rest - whole).count())};
    pollfd key{keys_ && in_front() ? STDIN_FILENO : -1, POLLIN, 0};
    // Signals are blocked, because a signal between the check of its flag and the sleep must not get lost.
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::sigprocmask(SIG_SETMASK, &all, &before);
    const int events = ended != 0 || resized != 0 ? 0 : ::ppoll(&key, 1, &timeout, &before);
    resized = 0;
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
    char typed = 0;
    if (events > 0 && (::read(STDIN_FILENO, &typed, 1) != 1 || typed == 'q' || typed == 'Q')) ended = 1;
    return events <= 0 || ended != 0;
  }

 private:
  static void handle(int signal, void (*handler)(int), int flags) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    ::sigaction(signal, &action, nullptr);
  }

  // A background job must not use the terminal: the kernel would stop the job.
  static bool in_front() { return ::tcgetpgrp(STDIN_FILENO) == ::getpgrp(); }

  // Called for every view: a shell resets the terminal's mode while the program is stopped.
  void take_keys() {
    if (!on_terminal_ || !in_front()) return;
    keys_ = keys_ || ::tcgetattr(STDIN_FILENO, &before_) == 0;
    if (!keys_) return;
    termios raw = before_;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    ::tcsetattr(STDIN_FILENO, TCSADRAIN, &raw);
  }

  bool on_terminal_ = ::isatty(STDOUT_FILENO) == 1;
  bool keys_ = false;
  termios before_{};
};

Result watch(const Context& context, const WatchOptions& options) {
  Screen screen;
  const auto period = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(options.period_s));
  for (int shown = 0; ended == 0 && (options.count == 0 || shown < options.count); ++shown) {
    // The period is the time from view to view, however long a view takes.
    const auto next = Clock::now() + period;
    if (!screen.show(options, view(context))) break;
    if (options.count != 0 && shown + 1 == options.count) break;
    while (!screen.wait_until(next)) {
    }
  }
  return {};
}

}  // namespace

void add_watch_command(CommandLine& line) {
  const auto options = std::make_shared<WatchOptions>();
  // This view is for people, so it has no --json. The commands psu, outputs, budget and alarms print the documents.
  cli::Command& command = line.add("watch", "A live view of load, charge, alarms, sources and outputs");
  command.excludes("--json");
  command.option("--period S", &options->period_s, "Time from view to view").range(0.1, 3600, "s");
  command.option("--count N", &options->count, "Views to show; 0 is until a signal").range(0, 1000000);
  command.action([&line, options] { line.action = [=](const Context& context) { return watch(context, *options); }; });
}

}  // namespace kvrnctl
