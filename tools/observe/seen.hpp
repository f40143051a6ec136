// SPDX-License-Identifier: MIT
// What the library read, and what each source answered, for people.
#pragma once

#include <kvrn/observe.h>

#include <string>
#include <vector>

namespace observe {

// One read, with texts of its own.
struct Seen {
  explicit Seen(const kvrn_observation& observation);

  kvrn_observation what;  // without `path`
  std::string path;

  bool is(kvrn_subject subject, int number, kvrn_fact fact) const {
    return what.subject == subject && what.subject_number == number && what.fact == fact;
  }
  bool answered() const { return what.outcome == KVRN_OUTCOME_ANSWERED; }
  // A file or an image that nobody wrote.
  bool absent() const;
  // What should have answered and did not.
  bool failed() const { return !answered() && !absent(); }

  std::string fact() const;    // "PSU 3 voltage"
  std::string source() const;  // "GPIO 211", "I2C 2-0b register 0x09", or the path
  std::string answer() const;  // "1", "3 s old", "permission denied"
};

// The calling thread's reads while it lives.
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
