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
  kvrn_subject subject;
  int number;
};
extern constinit thread_local Observed self;

struct Place {
  kvrn_source_kind kind;
  const char* path;
  int address = -1;
  int number = -1;
};

struct Answer {
  kvrn_outcome outcome;
  int error = 0;
  std::int64_t value = 0;
};
inline Answer answered(std::int64_t value) { return {KVRN_OUTCOME_ANSWERED, 0, value}; }
inline Answer failed(int error) { return {KVRN_OUTCOME_FAILED, error, 0}; }

// Reports a read of the present subject.
void tell(const Place& place, kvrn_fact fact, const Answer& answer);

// While it lives, reads of this thread are of this subject.
class About {
 public:
  About(kvrn_subject subject, int number) {
    if (observed()) enter(subject, number);
  }
  ~About() {
    if (entered_) leave();
  }
  About(const About&) = delete;
  About& operator=(const About&) = delete;

 private:
  void enter(kvrn_subject subject, int number);
  void leave();

  kvrn_subject subject_ = KVRN_SUBJECT_DEVICE;  // the one before
  int number_ = 0;
  bool entered_ = false;
};

}  // namespace kvrn
