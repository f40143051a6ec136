// SPDX-License-Identifier: MIT
#include "util/observe.hpp"

#include <utility>

namespace kvrn {

constinit std::atomic<int> observers = 0;
constinit thread_local Observed self{};

void tell(const Place& place, kvrn_fact fact, const Answer& answer) {
  if (!observed() || self.callback == nullptr) return;
  const kvrn_observation observation{place.kind,   self.subject, self.number,   fact,         answer.outcome,
                                     answer.error, place.path,   place.address, place.number, answer.value};
  self.callback(&observation, self.context);
}

void About::enter(kvrn_subject subject, int number) {
  subject_ = std::exchange(self.subject, subject);
  number_ = std::exchange(self.number, number);
  entered_ = true;
}

void About::leave() {
  self.subject = subject_;
  self.number = number_;
}

}  // namespace kvrn
