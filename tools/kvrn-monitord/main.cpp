// SPDX-License-Identifier: MIT
// kvrn-monitord: the one process that reads the hardware for every other. It reads and publishes; the alarm flags are
// set by others.
#include <sys/stat.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "tools/kvrn-monitord/image_lock.hpp"
#include "tools/kvrn-monitord/options.hpp"
#include "tools/kvrn-monitord/pid_file.hpp"
#include "tools/kvrn-monitord/publisher.hpp"
#include "tools/kvrn-monitord/say.hpp"
#include "tools/service/descriptors.hpp"
#include "tools/service/notify.hpp"
#include "tools/service/signals.hpp"
#include "tools/service/standins.hpp"

namespace monitord {
namespace {

using service::notify;
using service::watchdog_period;

using std::chrono::microseconds;

constexpr const char* pid_folder = "/run/kvrn";
constexpr auto between_looks = std::chrono::minutes(1);  // for what the account may not open: rights change seldom

// The time since the device's start. A step of the wall clock must not move a period. std::chrono has such a clock too,
// but it needs the C++ run time.
microseconds now() {
  timespec time{};
  (void)::clock_gettime(CLOCK_MONOTONIC, &time);
  return std::chrono::seconds(time.tv_sec) + microseconds(time.tv_nsec / 1000);
}

// Waits until then, telling the watchdog in time. @return a signal wants the end
bool wait_until(microseconds end, const sigset_t& signals) {
  const auto watchdog = watchdog_period();
  for (;;) {
    auto rest = std::max(end - now(), microseconds::zero());
    if (watchdog && *watchdog < rest) rest = *watchdog;
    if (service::ending_signal(signals, rest)) return true;
    if (watchdog) (void)notify("WATCHDOG=1");
    if (now() >= end) return false;
  }
}

// Returns false, and prints why, if this process cannot be the only monitor.
bool become_the_monitor(const Options& options, PidFile& pid_file, ImageLock& images) {
  // A service manager makes the folder; a monitor that is started by hand makes it itself.
  const bool own_folder = std::strcmp(options.pid_file, default_pid_file) == 0;
  if (own_folder && ::mkdir(pid_folder, 0755) != 0 && errno != EEXIST) {
    say("cannot create %s: %s", pid_folder, std::strerror(errno));
    return false;
  }
  if (!pid_file.take(options.pid_file)) return false;
  if (images.hold()) return true;
  say("another process is the monitor already (%s)", kvrn::psu_cache_file.path);
  return false;
}

// Publishes in every period until a signal wants the end. @return the status to end with
int serve(const Options& options, Publisher& publisher, ImageLock& images, service::AccessLog& access,
          const sigset_t& signals) {
  ::syslog(LOG_INFO, "publishing every %g s on %s", options.period_s, ::map_board_name(::board_identify()));
  bool ready = notify("READY=1");
  const auto period = std::chrono::duration_cast<microseconds>(std::chrono::duration<double>(options.period_s));
  auto next = now() + period;
  auto next_look = now() + between_looks;
  while (!wait_until(next, signals)) {
    if (!ready) ready = notify("READY=1");
    if (!images.hold()) {
      ::syslog(LOG_ERR, "another process writes %s now: ending", kvrn::psu_cache_file.path);
      return 1;
    }
    // The watchdog hears of a refresh only when it is over: hardware that hangs is not kept alive.
    (void)publisher.refresh();  // it logs its failures
    if (now() >= next_look) {
      access.look();
      next_look = now() + between_looks;
    }
    next = std::max(next + period, now());  // a late period is not caught up with
  }
  (void)notify("STOPPING=1");
  ::syslog(LOG_INFO, "ending");
  return 0;
}

int run(const Options& options) {
  PidFile pid_file;
  ImageLock images;
  if (!become_the_monitor(options, pid_file, images)) return 1;
  const sigset_t signals = service::block_ending_signals();
  if (options.background && ::daemon(0, 0) != 0) {
    say("%s", std::strerror(errno));
    return 1;
  }
  ::openlog("kvrn-monitord", LOG_PID | (options.to_stderr ? LOG_PERROR : 0), LOG_DAEMON);
  if (!pid_file.write()) ::syslog(LOG_WARNING, "cannot write %s: %m", options.pid_file);
  Publisher publisher;
  if (!publisher) {
    ::syslog(LOG_ERR, "no memory");
    return 1;
  }
  service::AccessLog access;
  access.look();
  const bool published = publisher.refresh();
  if (!options.once) return serve(options, publisher, images, access, signals);
  if (!published && !options.to_stderr) say("cannot publish: %s", publisher.failure());  // the log is not here
  return published ? 0 : 1;
}

}  // namespace
}  // namespace monitord

int main(int argc, char** argv) {
  service::hold_standard_descriptors();
  monitord::Options options;
  if (const auto status = monitord::parse(options, argc, argv)) return *status;
  return monitord::run(options);
}
