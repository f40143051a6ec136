// SPDX-License-Identifier: MIT
#include "util/observe.hpp"

#include <cerrno>
#include <utility>

namespace kvrn {

constinit std::atomic<int> observers = 0;
constinit thread_local Observed self{};

void tell(const char* path, std::uint32_t reading, kvrn_outcome outcome, std::int32_t value, std::int32_t where) {
  if (!observed() || self.callback == nullptr) return;
  const auto kind = static_cast<kvrn_source_kind>(reading >> 16);
  const bool bus = kind == KVRN_SOURCE_I2C || kind == KVRN_SOURCE_BLOCK;
  const bool failed = outcome == KVRN_OUTCOME_FAILED;
  char device[] = "/dev/i2c-0";  // one digit is enough for the buses of every board
  device[sizeof device - 2] = static_cast<char>('0' + (where >> 24));
  kvrn_observation observation{};
  observation.kind = kind;
  observation.subject = static_cast<kvrn_subject>(self.subject >> 16);
  observation.subject_number = self.subject & 0xFFFF;
  observation.fact = static_cast<kvrn_fact>(reading >> 8 & 0xFF);
  observation.outcome = outcome;
  observation.error = failed ? value : 0;
  observation.path = bus ? device : path;
  observation.address = bus ? where >> 16 & 0xFF : -1;
  observation.number = bus ? static_cast<std::int16_t>(where) : where;
  if (!failed) observation.value = kind == KVRN_SOURCE_BOARD ? std::int64_t{static_cast<std::uint32_t>(value)} : value;
  if (kind == KVRN_SOURCE_IMAGE && value == never_refreshed) observation.value = KVRN_NEVER_REFRESHED;
  self.callback(&observation, self.context);
}

void tell_failed(const char* path, std::uint32_t reading, std::int32_t where) {
  tell(path, reading, KVRN_OUTCOME_FAILED, errno, where);
}

About::About(std::int32_t subject) : before_(observed() ? std::exchange(self.subject, subject) : -1) {}

About::~About() {
  if (before_ >= 0) self.subject = before_;
}

}  // namespace kvrn
