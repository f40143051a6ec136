// SPDX-License-Identifier: MIT
// kvrn-monitord: the one process that reads the hardware for every other. It reads and publishes; the alarm flags are
// set by others.
#include <fmt/core.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "tools/cli/command.hpp"
#include "tools/kvrn-monitord/pid_file.hpp"
#include "tools/kvrn-monitord/publisher.hpp"
#include "tools/service/notify.hpp"
#include "tools/service/signals.hpp"

namespace monitord {
namespace {

using service::notify;
using service::watchdog_period;

using Clock = std::chrono::steady_clock;  // a step of the wall clock moves no period
using std::chrono::microseconds;

constexpr const char* pid_folder = "/run/kvrn";
constexpr const char* default_pid_file = "/run/kvrn/monitord.pid";

struct Options {
  double period_s = 2;
  bool once = false;
  bool background = false;
  std::string pid_file = default_pid_file;
};

// Waits until then, telling the watchdog in time. @return a signal wants the end
bool wait_until(Clock::time_point end, const sigset_t& signals) {
  const auto watchdog = watchdog_period();
  for (;;) {
    auto rest = std::chrono::duration_cast<microseconds>(end - Clock::now());
    if (rest <= microseconds::zero()) rest = microseconds::zero();
    if (watchdog && *watchdog < rest) rest = *watchdog;
    if (service::ending_signal(signals, rest)) return true;
    if (watchdog) (void)notify("WATCHDOG=1");
    if (Clock::now() >= end) return false;
  }
}

int run(const Options& options) {
  // A service manager makes the folder; a monitor that is started by hand makes it itself.
  if (options.pid_file == default_pid_file) (void)::mkdir(pid_folder, 0755);
  PidFile pid_file;
  std::string why;
  if (!pid_file.take(options.pid_file, why)) {
    fmt::print(stderr, "kvrn-monitord: {}\n", why);
    return 1;
  }
  const sigset_t signals = service::block_ending_signals();
  if (options.background && ::daemon(0, 0) != 0) {
    fmt::print(stderr, "kvrn-monitord: {}\n", std::strerror(errno));
    return 1;
  }
  ::openlog("kvrn-monitord", LOG_PID, LOG_DAEMON);
  if (!pid_file.write()) ::syslog(LOG_WARNING, "cannot write %s: %m", options.pid_file.c_str());
  Publisher publisher;
  if (!publisher) {
    ::syslog(LOG_ERR, "no memory");
    return 1;
  }
  const bool published = publisher.refresh();
  if (options.once) return published ? 0 : 1;
  ::syslog(LOG_INFO, "publishing every %g s on %s", options.period_s, ::map_board_name(::board_identify()));
  bool ready = notify("READY=1");
  const auto period = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(options.period_s));
  auto next = Clock::now() + period;
  while (!wait_until(next, signals)) {
    if (!ready) ready = notify("READY=1");
    // The watchdog hears of a refresh only when it is over: hardware that hangs is not kept alive.
    (void)publisher.refresh();                     // it logs its failures
    next = std::max(next + period, Clock::now());  // a late period is not caught up with
  }
  (void)notify("STOPPING=1");
  ::syslog(LOG_INFO, "ending");
  return 0;
}

}  // namespace
}  // namespace monitord

int main(int argc, char** argv) {
  cli::Command program("kvrn-monitord", "Reads the power hardware and publishes the readings for every other process");
  monitord::Options options;
  int status = 0;
  program.option("--period S", &options.period_s, "From reading to reading; readers refuse readings above 10 s")
      .range(0.1, 9, "s");
  program.flag("--once", options.once, "Publish once and end");
  program.flag("--background", options.background, "Leave the terminal");
  program.option("--pid-file F", &options.pid_file, "The file that only one monitor can lock");
  program.footer("Exit status: 0 ended by a signal or --once, 1 failed or another monitor runs, 2 wrong usage.");
  program.action([&] { status = monitord::run(options); });
  return cli::parse(program, KVRN_VERSION, argc, argv).value_or(status);
}
