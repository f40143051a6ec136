// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/stream.hpp"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "tools/service/notify.hpp"

namespace kvrnctl {
namespace {

// A shell lets a background job, and nohup a job that outlives the terminal, ignore a signal. This is kept.
bool is_ignored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

Stream::Stream(double period_s, bool to_reader)
    : period_(std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(period_s))),
      to_reader_(to_reader),
      watchdog_(service::watchdog_period()) {
  (void)::signal(SIGPIPE, SIG_IGN);
  sigset_t ending;
  ::sigemptyset(&ending);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    if (!is_ignored(signal)) ::sigaddset(&ending, signal);
  ::sigprocmask(SIG_BLOCK, &ending, nullptr);
  signals_ = kvrn::Fd(::signalfd(-1, &ending, SFD_CLOEXEC));
}

bool Stream::next() {
  while (!ended_) {
    if (watchdog_) (void)service::notify("WATCHDOG=1");
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(next_ - Clock::now());
    const auto wait = watchdog_ ? std::min(rest, std::chrono::ceil<std::chrono::milliseconds>(*watchdog_)) : rest;
    // The kernel reports a closed reader or terminal although no event is asked for.
    std::array<pollfd, 2> ends{{{signals_.get(), POLLIN, 0}, {to_reader_ ? STDOUT_FILENO : -1, 0, 0}}};
    ended_ = ::poll(ends.data(), ends.size(), static_cast<int>(std::max<std::int64_t>(wait.count(), 0))) > 0;
    if (rest.count() <= 0) break;
  }
  next_ = std::max(next_ + period_, Clock::now());  // a late turn is not caught up with
  return !ended_;
}

void Stream::print(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) return;
  ended_ = true;
  failed_ = errno != EPIPE;
  if (failed_) (void)flush_output();  // tells the failure
}

void Told::see(const Context& context, const std::vector<std::string>& failures) {
  for (const std::string& failure : failures)
    if (std::ranges::find(last_, failure) == last_.end()) context.warn(failure);
  last_ = failures;
}

std::string utc_now() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  char text[32] = "";
  if (::gmtime_r(&now, &utc) != nullptr) (void)std::strftime(text, sizeof text, "%FT%TZ", &utc);
  return text;
}

}  // namespace kvrnctl
