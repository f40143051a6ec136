// SPDX-License-Identifier: MIT
// The signals that end a service are waited for, not handled: nothing is interrupted in the middle.
#pragma once

#include <signal.h>

#include <chrono>

namespace service {

// Blocks SIGTERM and SIGINT in this thread and in those that it starts.
inline sigset_t block_ending_signals() {
  (void)::signal(SIGXFSZ, SIG_IGN);  // a file size limit is an error of the write, as a full disk is
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
