// SPDX-License-Identifier: MIT
#include "util/clock.hpp"

#include <errno.h>
#include <kvrn/util.h>
#include <stdlib.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "util/pause.hpp"

namespace kvrn {
namespace {

// Without a monotonic clock the age of a cache is unknown, and an old reading would look fresh. So the process ends.
timespec monotonic() {
  timespec now{};
  if (::clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
    static constexpr char text[] = "CLOCK_MONOTONIC not supported";
    // The process ends in any case. Nobody can be told that the message was lost.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text, sizeof text - 1);
    ::abort();
  }
  return now;
}

timeval wall_clock() {
  timeval now{};
  (void)::gettimeofday(&now, nullptr);  // on failure the documented result is 0
  return now;
}

// A fraction of a second is below 10^9, so 32 bits are enough. A 64-bit division would add a kilobyte of the compiler's
// own library on a 32-bit device.
constexpr std::int32_t narrow(std::int64_t fraction) { return static_cast<std::int32_t>(fraction); }

}  // namespace

std::int64_t monotonic_s() { return monotonic().tv_sec; }

void pause_us(unsigned microseconds) {
  timespec rest{static_cast<time_t>(microseconds / 1'000'000), static_cast<long>(microseconds % 1'000'000) * 1000};
  while (::nanosleep(&rest, &rest) != 0 && errno == EINTR) {
  }
}

}  // namespace kvrn

int64_t get_timestamp_mono() KVRN_DOOR(monotonic_s);

int64_t get_timestamp_mono_ms() {
  const timespec now = kvrn::monotonic();
  return static_cast<int64_t>(now.tv_sec) * 1000 + kvrn::narrow(now.tv_nsec) / 1'000'000;
}

int64_t get_timestamp() { return kvrn::wall_clock().tv_sec; }

int64_t get_timestamp_ms() {
  const timeval now = kvrn::wall_clock();
  return static_cast<int64_t>(now.tv_sec) * 1000 + kvrn::narrow(now.tv_usec) / 1000;
}
