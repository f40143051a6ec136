// SPDX-License-Identifier: MIT
// kvrn-monitord: the one process that reads the hardware for every other. It reads and publishes; the alarm flags are
// set by others.
#include <fmt/core.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "tools/cli/command.hpp"
#include "tools/kvrn-monitord/image_lock.hpp"
#include "tools/kvrn-monitord/pid_file.hpp"
#include "tools/kvrn-monitord/publisher.hpp"
#include "tools/service/descriptors.hpp"
#include "tools/service/notify.hpp"
#include "tools/service/signals.hpp"
#include "tools/service/standins.hpp"

namespace monitord {
namespace {

using service::notify;
using service::watchdog_period;

using Clock = std::chrono::steady_clock;  // a step of the wall clock moves no period
using std::chrono::microseconds;

constexpr const char* pid_folder = "/run/kvrn";
constexpr const char* default_pid_file = "/run/kvrn/monitord.pid";

constexpr auto between_looks = std::chrono::minutes(1);  // for what the account may not open: rights change seldom

struct Options {
  double period_s = 2;
  bool once = false;
  bool background = false;
  bool to_stderr = false;
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

// Before there is a log: on the terminal, where somebody waits.
int fail(const std::string& why) {
  (void)std::fputs(fmt::format("kvrn-monitord: {}\n", why).c_str(), stderr);
  return 1;
}

// False, with the reason in `why`, when this process cannot be the only monitor.
bool become_the_monitor(const Options& options, PidFile& pid_file, ImageLock& images, std::string& why) {
  // A service manager makes the folder; a monitor that is started by hand makes it itself.
  if (options.pid_file == default_pid_file && ::mkdir(pid_folder, 0755) != 0 && errno != EEXIST) {
    why = fmt::format("cannot create {}: {}", pid_folder, std::strerror(errno));
    return false;
  }
  if (!pid_file.take(options.pid_file, why)) return false;
  if (images.hold()) return true;
  why = fmt::format("another process is the monitor already ({})", kvrn::psu_cache_file.path);
  return false;
}

// Publishes in every period until a signal wants the end. @return the status to end with
int serve(const Options& options, Publisher& publisher, ImageLock& images, service::AccessLog& access,
          const sigset_t& signals) {
  ::syslog(LOG_INFO, "publishing every %g s on %s", options.period_s, ::map_board_name(::board_identify()));
  bool ready = notify("READY=1");
  const auto period = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(options.period_s));
  auto next = Clock::now() + period;
  auto next_look = Clock::now() + between_looks;
  while (!wait_until(next, signals)) {
    if (!ready) ready = notify("READY=1");
    if (!images.hold()) {
      ::syslog(LOG_ERR, "another process writes %s now: ending", kvrn::psu_cache_file.path);
      return 1;
    }
    // The watchdog hears of a refresh only when it is over: hardware that hangs is not kept alive.
    (void)publisher.refresh();  // it logs its failures
    if (Clock::now() >= next_look) {
      access.see(service::missing_access());
      next_look = Clock::now() + between_looks;
    }
    next = std::max(next + period, Clock::now());  // a late period is not caught up with
  }
  (void)notify("STOPPING=1");
  ::syslog(LOG_INFO, "ending");
  return 0;
}

int run(const Options& options) {
  PidFile pid_file;
  ImageLock images;
  std::string why;
  if (!become_the_monitor(options, pid_file, images, why)) return fail(why);
  const sigset_t signals = service::block_ending_signals();
  if (options.background && ::daemon(0, 0) != 0) return fail(std::strerror(errno));
  ::openlog("kvrn-monitord", LOG_PID | (options.to_stderr ? LOG_PERROR : 0), LOG_DAEMON);
  if (!pid_file.write()) ::syslog(LOG_WARNING, "cannot write %s: %m", options.pid_file.c_str());
  Publisher publisher;
  if (!publisher) {
    ::syslog(LOG_ERR, "no memory");
    return 1;
  }
  service::AccessLog access;
  access.see(service::missing_access());
  const bool published = publisher.refresh();
  if (!options.once) return serve(options, publisher, images, access, signals);
  if (!published && !options.to_stderr) return fail("cannot publish: " + publisher.failure());  // the log is not here
  return published ? 0 : 1;
}

}  // namespace
}  // namespace monitord

int main(int argc, char** argv) {
  service::hold_standard_descriptors();
  cli::Command program("kvrn-monitord", "Reads the power hardware and publishes the readings for every other process");
  monitord::Options options;
  int status = 0;
  program.option("--period S", &options.period_s, "From reading to reading; readers refuse readings above 10 s")
      .range(0.1, 9, "s");
  program.flag("--once", options.once, "Publish once and end");
  program.flag("--background", options.background, "Leave the terminal");
  program.option("--pid-file F", &options.pid_file, "The file that names the monitor's process");
  program.flag("--stderr", options.to_stderr, "Log to standard error too");
  program.footer("Exit status: 0 ended by a signal or --once, 1 failed or another monitor runs, 2 wrong usage.");
  program.action([&] { status = monitord::run(options); });
  return cli::parse(program, KVRN_VERSION, argc, argv).value_or(status);
}
