// SPDX-License-Identifier: MIT
// kvrn-agentd: serves the module's tree through the system's SNMP agent. The hardware is read on a thread of its own,
// so that a request never waits for it.
#include <fmt/core.h>
#include <signal.h>
#include <syslog.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "tools/kvrn-agentd/agentx.hpp"
#include "tools/kvrn-agentd/module_file.hpp"
#include "tools/kvrn-agentd/refresher.hpp"
#include "tools/service/notify.hpp"
#include "tools/snmp/host.hpp"

namespace agentd {
namespace {

using std::chrono::microseconds;
using Seconds = std::chrono::duration<double>;

struct Options {
  double period_s = 2;
  double max_age_s = 30;
  std::string socket = "/var/agentx/master";
  std::string module = "libkvrn.so.1";
  bool to_stderr = false;
};

volatile std::sig_atomic_t ending = 0;

// Both signals arrive only while AgentX::serve() waits. @return the mask for that
sigset_t catch_signals() {
  struct sigaction action {};
  action.sa_handler = [](int) { ending = 1; };
  sigset_t blocked;
  sigset_t unblocked;
  ::sigemptyset(&blocked);
  for (const int number : {SIGTERM, SIGINT}) {
    (void)::sigaction(number, &action, nullptr);
    ::sigaddset(&blocked, number);
  }
  (void)::signal(SIGPIPE, SIG_IGN);  // a master that goes away is no reason to end
  (void)::pthread_sigmask(SIG_BLOCK, &blocked, &unblocked);
  return unblocked;
}

void serve(AgentX& agent, const Refresher& refresher, const Options& options, const sigset_t& unblocked) {
  const auto watchdog = service::watchdog_period();
  const microseconds longest = std::min(watchdog.value_or(microseconds(1'000'000)), microseconds(1'000'000));
  auto next = Clock::now();
  while (ending == 0) {
    (void)agent.serve(longest, unblocked);
    // The manager hears nothing once the worker has hung for as long as its readings are good.
    if (!watchdog || Clock::now() < next || refresher.silence() > Seconds(options.max_age_s)) continue;
    service::notify("WATCHDOG=1");
    next = Clock::now() + *watchdog;
  }
}

int run(const Options& options) {
  ModuleFile file;
  std::string why;
  if (!file.load(options.module, why)) {
    fmt::print(stderr, "kvrn-agentd: {}\n", why);
    return 1;
  }
  ::openlog("kvrn-agentd", LOG_PID | (options.to_stderr ? LOG_PERROR : 0), LOG_DAEMON);
  const sigset_t unblocked = catch_signals();  // before the worker, which inherits the mask
  Refresher refresher([&](auto& table, auto& error) { return snmp_host::update(file.module(), table, error); },
                      Seconds(options.period_s), Seconds(options.max_age_s));
  {
    AgentX agent(options.socket, [&] { return refresher.table(); });
    if (!agent.start()) {
      ::syslog(LOG_ERR, "the SNMP library cannot be started");
      std::_Exit(1);
    }
    service::notify("READY=1");
    serve(agent, refresher, options, unblocked);
    service::notify("STOPPING=1");
  }
  // A worker that hangs in the hardware is not waited for.
  if (!refresher.stop(Seconds(2))) std::_Exit(0);
  return 0;
}

}  // namespace
}  // namespace agentd

int main(int argc, char** argv) {
  CLI::App app("Serves the power unit's readings through the system's SNMP agent.", "kvrn-agentd");
  agentd::Options options;
  const auto plain = [](const std::string& text) {
    return text.find_first_not_of("0123456789.") == std::string::npos ? "" : "not a plain number";
  };
  app.set_version_flag("--version", "kvrn-agentd " KVRN_VERSION);
  app.add_option("--period", options.period_s, "Seconds between readings")
      ->check(CLI::Range(0.1, 3600.0))
      ->check(plain)
      ->capture_default_str();
  app.add_option("--max-age", options.max_age_s, "Seconds that readings are served after a refresh failed")
      ->check(CLI::Range(1.0, 86400.0))
      ->check(plain)
      ->capture_default_str();
  app.add_option("--agentx-socket", options.socket, "Socket of the master agent")->capture_default_str();
  app.add_option("--module", options.module, "The library that provides the tree")->capture_default_str();
  app.add_flag("--stderr", options.to_stderr, "Log to standard error too");
  app.footer("Exit status: 0 ended by a signal, 1 failed, 2 wrong usage.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  return agentd::run(options);
}
