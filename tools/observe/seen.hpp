// SPDX-License-Identifier: MIT
// Texts for people about what the library read and what each source answered.
#pragma once

#include <kvrn/observe.h>

#include <string>
#include <vector>

namespace observe {

// One read. It owns its texts.
struct Seen {
  explicit Seen(const kvrn_observation& observation);

  kvrn_observation what;  // its `path` is null
  std::string path;

  bool is(kvrn_subject subject, int number, kvrn_fact fact) const {
    return what.subject == subject && what.subject_number == number && what.fact == fact;
  }
  bool answered() const { return what.outcome == KVRN_OUTCOME_ANSWERED; }
  // Whether the source is an optional file or image that does not exist.
  bool absent() const;
  // Whether the source should have answered and did not.
  bool failed() const { return !answered() && !absent(); }

  std::string fact() const;    // "PSU 3 voltage"
  std::string source() const;  // "GPIO 211", "I2C 2-0b register 0x09", or the path
  std::string answer() const;  // "1", "3 s old", "permission denied"
};

// Collects the calling thread's reads during the life of the object.
class Observer {
 public:
  Observer();
  ~Observer();
  Observer(const Observer&) = delete;

  const std::vector<Seen>& seen() const { return seen_; }

 private:
  std::vector<Seen> seen_;
};

}  // namespace observe
