// SPDX-License-Identifier: MIT
// The signals that end a service are waited for, not handled: nothing is interrupted in the middle.
#pragma once

#include <signal.h>

#include <chrono>

namespace service {

// Blocks SIGTERM and SIGINT in this thread and in those that it starts. A terminal or a peer that goes away and a file
// that may not grow end no service: SIGHUP, SIGPIPE and SIGXFSZ are ignored.
inline sigset_t block_ending_signals() {
  for (const int ignored : {SIGHUP, SIGPIPE, SIGXFSZ}) (void)::signal(ignored, SIG_IGN);
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGTERM);
  ::sigaddset(&signals, SIGINT);
  (void)::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

// Waits for one of them. @return it came within that time
inline bool ending_signal(const sigset_t& signals, std::chrono::microseconds longest) {
  const timespec time{static_cast<time_t>(longest.count() / 1'000'000),
                      static_cast<long>(longest.count() % 1'000'000) * 1000};
  return ::sigtimedwait(&signals, nullptr, &time) > 0;
}

}  // namespace service
