// SPDX-License-Identifier: MIT
// Sends notifications: one for each change, at most so many a minute, none twice. It does not know whether this program
// is a sub-agent or the master.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "tools/kvrn-agentd/standing.hpp"
#include "tools/kvrn-agentd/told_file.hpp"

namespace agentd {

// At most so many in any minute. What is held back is not lost: what stands then is sent as soon as it may be.
class RateLimit {
 public:
  static constexpr unsigned highest = 60;

  // @param most from 1 to `highest`
  explicit RateLimit(unsigned most) : most_(most) {}

  bool allows(Clock::time_point now) const {
    return count_ < most_ || now - times_[count_ % most_] >= std::chrono::minutes(1);
  }
  void count(Clock::time_point now) { times_[count_++ % most_] = now; }

 private:
  const unsigned most_;
  std::array<Clock::time_point, highest> times_{};  // of the last `most_` ones
  std::size_t count_ = 0;
};

class Notifier {
 public:
  // @param folder keeps what was told over a restart
  Notifier(std::string folder, unsigned most_a_minute);
  Notifier(const Notifier&) = delete;

  // Called for each complete reading, by the thread that reads.
  void see(const TablePtr& table);

  // Sends what is due. Called at least every few seconds by the thread that serves, which alone may use net-snmp.
  // @param linked     what is given to net-snmp is sent
  // @param connection another number means that what was sent last may be lost
  // @param expired    the last readings are too old
  void turn(bool linked, unsigned connection, bool expired);

  // What was sent over a connection that still stands counts as told. Called when the serving thread has ended.
  void end();

 private:
  struct Sent {
    unsigned connection;
    Clock::time_point last;
  };

  void settle(unsigned connection);
  void send_due(unsigned connection);
  bool give(const Change& change);
  void confirm();
  void save();

  Standing standing_;
  ToldFile file_;
  RateLimit limit_;
  std::optional<Sent> sent_;  // until it is known to have arrived
  bool unsaved_ = false;
  bool held_back_ = false;
};

}  // namespace agentd
