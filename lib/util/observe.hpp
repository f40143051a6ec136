// SPDX-License-Identifier: MIT
// What reads report to a program that observes them.
#pragma once

#include <kvrn/observe.h>

#include <atomic>
#include <cstdint>

namespace kvrn {

// Threads that observe. Tested before anything of a thread's own is touched: on the smaller SoCs that is a trap.
extern std::atomic<int> observers;
inline bool observed() { return observers.load(std::memory_order_relaxed) != 0; }

// The thread's callback, and the subject of its reads.
struct Observed {
  kvrn_observer callback;
  void* context;
  std::int32_t subject;
};
extern constinit thread_local Observed self;

// What is read, in one word: there are many reads, and little room for what they tell.
constexpr std::uint32_t reading(kvrn_source_kind kind, kvrn_fact fact) {
  return static_cast<std::uint32_t>(kind) << 16 | static_cast<std::uint32_t>(fact) << 8;
}
// A register or block of a device on a bus, as `where`; such a read needs no path.
constexpr std::int32_t on_bus(int bus, std::uint32_t address, std::int32_t number) {
  return bus << 24 | static_cast<std::int32_t>(address << 16) | (number & 0xFFFF);
}
// The age of an image that was never refreshed, as `value`.
inline constexpr std::int32_t never_refreshed = INT32_MAX;

// Reports how a read ended. The errno of one that failed is the present one.
// @param where the packed number of a line, or on_bus()
// @param value what was read; not of a read that failed
void tell(const char* path, std::uint32_t reading, kvrn_outcome outcome, std::int32_t value, std::int32_t where = -1);
void tell_failed(const char* path, std::uint32_t reading, std::int32_t where = -1);

constexpr std::int32_t of_psu(int number) { return KVRN_SUBJECT_PSU << 16 | (number & 0xFFFF); }
constexpr std::int32_t of_output(int number) { return KVRN_SUBJECT_OUTPUT << 16 | (number & 0xFFFF); }

// While it lives, reads of this thread are of that subject.
class About {
 public:
  explicit About(std::int32_t subject);
  ~About();
  About(const About&) = delete;
  About& operator=(const About&) = delete;

 private:
  std::int32_t before_;
};

}  // namespace kvrn
