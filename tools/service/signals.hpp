// SPDX-License-Identifier: MIT
// A service waits for the signals that end it. It has no signal handlers, so that no operation is interrupted.
#pragma once

#include <signal.h>

#include <chrono>

namespace service {

// Blocks SIGTERM and SIGINT in this thread and in the threads that it starts. Ignores SIGHUP, SIGPIPE and SIGXFSZ: a
// closed terminal, a lost connection or a file size limit must not end a service.
inline sigset_t block_ending_signals() {
  for (const int ignored : {SIGHUP, SIGPIPE, SIGXFSZ}) (void)::signal(ignored, SIG_IGN);
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGTERM);
  ::sigaddset(&signals, SIGINT);
  (void)::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

// Waits for one of these signals. @return whether one came within the time `longest`
inline bool ending_signal(const sigset_t& signals, std::chrono::microseconds longest) {
  const timespec time{static_cast<time_t>(longest.count() / 1'000'000),
                      static_cast<long>(longest.count() % 1'000'000) * 1000};
  return ::sigtimedwait(&signals, nullptr, &time) > 0;
}

}  // namespace service
