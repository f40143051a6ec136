// SPDX-License-Identifier: MIT
// kvrn-agentd: serves the module's tree through the system's SNMP agent, or without one. One thread reads the hardware,
// and one answers requests; neither waits for the other. The main thread waits for signals and notifies the manager's
// watchdog.
#include <fmt/core.h>
#include <signal.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <future>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "tools/cli/command.hpp"
#include "tools/kvrn-agentd/agentx.hpp"
#include "tools/kvrn-agentd/listener.hpp"
#include "tools/kvrn-agentd/load_module.hpp"
#include "tools/kvrn-agentd/notifier.hpp"
#include "tools/kvrn-agentd/refresher.hpp"
#include "tools/service/descriptors.hpp"
#include "tools/service/notify.hpp"
#include "tools/service/signals.hpp"
#include "tools/service/standins.hpp"
#include "tools/snmp/host.hpp"

namespace agentd {
namespace {

using std::chrono::microseconds;
using Seconds = Refresher::Seconds;

struct Options {
  double period_s = 2;
  double max_age_s = 30;
  std::string socket = "/var/agentx/master";
  std::vector<std::string> listen;
  std::string config = "/etc/kvrn/agentd.conf";
  std::string state = "/var/lib/kvrn-agentd";
  std::string user;
  std::string module = "libkvrn.so.1";
  bool to_stderr = false;
  unsigned notifications = 30;
};

// A refresh takes more than a second when the battery files are missing.
constexpr double longest_refresh_s = 2;

constexpr auto access_period = std::chrono::seconds(10);

// Remembers what was logged last, so that each change is logged once.
class Changes {
 public:
  void see(const Refresher::State& readings, const Role& role, double max_age_s) {
    if (std::exchange(expired_, readings.expired) != readings.expired)
      ::syslog(readings.expired ? LOG_ERR : LOG_NOTICE,
               readings.expired ? "no complete readings for %g s: the tree is empty" : "the tree is served again",
               max_age_s);
    // A message for which there is no memory is logged at a later call.
    try {
      if (const unsigned losses = role.losses(); losses != losses_) say(role, Role::Link::down);
      losses_ = role.losses();
      say(role, role.link());
      if (Clock::now() < next_look_) return;
      access_.look();
      next_look_ = Clock::now() + access_period;
    } catch (const std::bad_alloc&) {
    }
  }

 private:
  void say(const Role& role, Role::Link link) {
    if (link == Role::Link::unknown) return;
    std::string text = role.text_of(link);
    if (text == link_) return;
    ::syslog(link == Role::Link::up ? LOG_NOTICE : LOG_WARNING, "%s", text.c_str());
    link_ = std::move(text);
  }

  bool expired_ = false;
  unsigned losses_ = 0;
  std::string link_;
  service::AccessLog access_;
  Clock::time_point next_look_;
};

// Reports the state to the service manager and the log until a signal ends the service. Throws the exception that ended
// the agent's thread.
void watch(const Refresher& refresher, const Role& role, std::future<void>& agent, const Options& options,
           const sigset_t& signals) {
  constexpr microseconds longest = std::chrono::milliseconds(500);
  const auto watchdog = service::watchdog_period();
  const microseconds rest = std::min(watchdog.value_or(longest), longest);
  bool ready = false;
  Changes changes;
  do {
    if (agent.wait_for(Seconds(0)) == std::future_status::ready) return agent.get();
    const Refresher::State state = refresher.state();
    if (state.tried && !ready) ready = service::notify("READY=1");
    changes.see(state, role, options.max_age_s);
    // No notification when a refresh hangs for longer than readings are served: the manager then restarts the service.
    if (watchdog && state.busy < Seconds(options.max_age_s)) (void)service::notify("WATCHDOG=1");
  } while (!service::ending_signal(signals, rest));
  (void)service::notify("STOPPING=1");
}

int failed(const std::exception& failure) {
  ::syslog(LOG_ERR, "cannot go on: %s", failure.what());
  return 1;
}

std::unique_ptr<Role> make_role(const Options& options, Tables tables, Role::Turn turn) {
  if (options.listen.empty()) {
    set_environment("");
    return std::make_unique<AgentX>(options.socket, std::move(tables), std::move(turn));
  }
  set_environment(options.state);
  Listener::Settings settings{options.listen, options.config, options.state, std::nullopt};
  if (!options.user.empty() && !service::find_user(options.user, settings.user.emplace()))
    throw std::runtime_error(fmt::format("the system has no user '{}'", options.user));
  if (options.user.empty() && ::geteuid() == 0) ::syslog(LOG_WARNING, "keeps root's rights: --user NAME gives them up");
  return std::make_unique<Listener>(std::move(settings), std::move(tables), std::move(turn));
}

int serve(const kvrn_snmp_module& module, const Options& options, const sigset_t& signals) {
  std::optional<Notifier> notifier;
  std::optional<Refresher> refresher;
  const std::unique_ptr<Role> role = make_role(
      options, [&] { return refresher->table(); },
      [&](bool linked, unsigned connection) {
        if (notifier) notifier->turn(linked, connection, refresher->state().expired);
      });
  while (!role->open()) {
    // The manager must not end a service that waits for an address.
    (void)service::notify("READY=1\nWATCHDOG=1");
    if (service::ending_signal(signals, std::chrono::seconds(1))) return 0;
  }
  if (options.notifications > 0) notifier.emplace(options.state, options.notifications);
  refresher.emplace([&](auto& table, auto& error) { return snmp_host::update(module, table, error); },
                    Seconds(options.period_s), Seconds(options.max_age_s),
                    [&](const TablePtr& table) {
                      if (notifier) notifier->see(table);
                    });
  std::atomic<bool> stop = false;
  std::future<void> agent;
  int status = 0;
  try {
    agent = std::async(std::launch::async, [&] { role->run(stop); });
    watch(*refresher, *role, agent, options, signals);
  } catch (const std::exception& failure) {
    status = failed(failure);
  }
  stop = true;
  // Do not wait longer for a master or for hardware that hangs.
  const auto last = Clock::now() + std::chrono::seconds(2);
  const bool readings_ended = refresher->stop(Seconds(2));
  const bool agent_ended = !agent.valid() || agent.wait_until(last) == std::future_status::ready;
  if (notifier && agent_ended) notifier->end();
  if (!readings_ended || !agent_ended) std::_Exit(status);
  return status;
}

int run(const Options& options) {
  service::hold_standard_descriptors();
  std::string why;
  const kvrn_snmp_module* module = load_module(options.module, why);
  if (module == nullptr) {
    // Not fmt::print, which throws when standard error cannot be written.
    (void)std::fputs(fmt::format("kvrn-agentd: {}\n", why).c_str(), stderr);
    return 1;
  }
  ::openlog("kvrn-agentd", LOG_PID | (options.to_stderr ? LOG_PERROR : 0), LOG_DAEMON);
  const sigset_t signals = service::block_ending_signals();
  try {
    return serve(*module, options, signals);
  } catch (const std::exception& failure) {
    return failed(failure);
  }
}

std::string check_socket(const std::string& text) {
  constexpr std::size_t longest_path = sizeof(sockaddr_un::sun_path) - 1;
  if (text.size() > longest_path) return fmt::format("'{}' is longer than a socket's path can be", text);
  if (text.starts_with('/') || text.find(':') != std::string::npos) return "";
  return fmt::format("'{}' is neither a path nor a transport address", text);
}

// net-snmp takes lists of paths.
std::string check_path(const std::string& text) {
  if (!text.empty() && text[0] != '-' && text.find_first_of(",:") == std::string::npos) return "";
  return fmt::format("'{}' is no path without comma and colon", text);
}

// Readings must not expire before the next ones are due.
void check_ages(const Options& options) {
  if (options.max_age_s < options.period_s + longest_refresh_s)
    throw cli::WrongUsage{
        fmt::format("--max-age {:g} is too short for --period {:g}: readings would expire before the "
                    "next are due; it must be at least 2 more",
                    options.max_age_s, options.period_s)};
}

}  // namespace
}  // namespace agentd

int main(int argc, char** argv) {
  cli::Command program("kvrn-agentd",
                       "Serves the power unit's readings over SNMP: through the system's agent, or without one");
  agentd::Options options;
  int status = 0;
  program.option("--period S", &options.period_s, "From reading to reading").range(0.1, 3600, "s");
  program.option("--max-age S", &options.max_age_s, "How long readings are served; at least 2 s more than the period")
      .range(2, 86400, "s");
  program.option("--agentx-socket PATH", &options.socket, "Socket of the master agent").check(agentd::check_socket);
  program.option("--listen ADDRESS", &options.listen, "Serve without a master at udp:ADDRESS:PORT; may be repeated")
      .check(agentd::check_address)
      .excludes("--agentx-socket");
  const std::array alone{
      &program.option("--config FILE", &options.config, "With --listen: users, views, trap sinks in net-snmp's words"),
      &program.option("--user NAME", &options.user, "With --listen: whose rights to keep once it listens")};
  alone[0]->check(agentd::check_path);
  program
      .option("--state FOLDER", &options.state,
              "Keeps over a restart what was told; with --listen the users' keys and the engine's starts too")
      .check(agentd::check_path);
  program.option("--module F", &options.module, "The library that provides the tree");
  program.option("--notifications N", &options.notifications, "Most notifications a minute; 0: none")
      .range(0, agentd::RateLimit::highest);
  program.flag("--stderr", options.to_stderr, "Log to standard error too");
  program.footer("Exit status: 0 ended by a signal, 1 failed, 2 wrong usage.");
  program.action([&] {
    agentd::check_ages(options);
    for (const cli::Option* option : alone)
      if (option->given && options.listen.empty())
        throw cli::WrongUsage{fmt::format("{} needs --listen", option->names[0])};
    status = agentd::run(options);
  });
  return cli::parse(program, KVRN_VERSION, argc, argv).value_or(status);
}
