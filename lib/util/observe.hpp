// SPDX-License-Identifier: MIT
// Reports the reads of the library to a program that observes them.
#pragma once

#include <kvrn/observe.h>

#include <atomic>
#include <cstdint>

namespace kvrn {

// Number of threads that observe. Code tests this number before it touches thread-local data, because access to
// thread-local data causes a trap on the smaller SoCs.
extern std::atomic<int> observers;
inline bool observed() { return observers.load(std::memory_order_relaxed) != 0; }

// The callback of a thread, and the subject of its current reads.
struct Observed {
  kvrn_observer callback;
  void* context;
  std::int32_t subject;
};
extern constinit thread_local Observed self;

// The kind of source and the fact of a read, packed into one word. This saves code space, because the library has many
// reads.
constexpr std::uint32_t reading(kvrn_source_kind kind, kvrn_fact fact) {
  return static_cast<std::uint32_t>(kind) << 16 | static_cast<std::uint32_t>(fact) << 8;
}
// A register or block of a device on a bus, packed for the argument `where`. Such a read needs no path.
constexpr std::int32_t on_bus(int bus, std::uint32_t address, std::int32_t number) {
  return bus << 24 | static_cast<std::int32_t>(address << 16) | (number & 0xFFFF);
}
// The argument `value` for an image that was never refreshed.
inline constexpr std::int32_t never_refreshed = INT32_MAX;

// Reports how a read ended. tell_failed() reports the current errno.
// @param where the packed number of a line, or on_bus()
// @param value what was read; for a failed read the errno
void tell(const char* path, std::uint32_t reading, kvrn_outcome outcome, std::int32_t value, std::int32_t where = -1);
void tell_failed(const char* path, std::uint32_t reading, std::int32_t where = -1);

constexpr std::int32_t of_psu(int number) { return KVRN_SUBJECT_PSU << 16 | (number & 0xFFFF); }
constexpr std::int32_t of_output(int number) { return KVRN_SUBJECT_OUTPUT << 16 | (number & 0xFFFF); }

// As long as an object of this class lives, the reads of this thread belong to its subject.
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
