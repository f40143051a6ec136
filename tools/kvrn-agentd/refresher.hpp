// SPDX-License-Identifier: MIT
// The worker thread that runs the module's updates. It builds a new table every period and keeps the last complete one.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "tools/snmp/object_table.hpp"

namespace agentd {

using Clock = std::chrono::steady_clock;  // a change of the system time does not change a table's age
using TablePtr = std::shared_ptr<const snmp_host::ObjectTable>;

class Refresher {
 public:
  using Seconds = std::chrono::duration<double>;
  // Fills a table. @return 0, or another number on failure, with the reason in `error`
  using Update = std::function<int(snmp_host::ObjectTable&, std::string& error)>;

  // Gets each complete table, after table() has it. The time that this takes belongs to the period.
  using Seen = std::function<void(const TablePtr&)>;

  Refresher(Update update, Seconds period, Seconds max_age, Seen seen);
  Refresher(const Refresher&) = delete;

  // The last complete table, or an empty table when the last one is older than max_age. Never waits for an update.
  TablePtr table() const;

  struct State {
    bool tried;    // the first update has ended, with or without success
    bool expired;  // table() returns an empty table, because the last one is too old
    Seconds busy;  // how long the current update has been running; grows while the hardware hangs
  };
  State state() const;

  // @return false when the worker did not end in time: the process must end without it
  bool stop(Seconds longest);

 private:
  void run();
  void refresh();
  void report(const char* error);
  bool is_expired() const { return Clock::now() - built_ > max_age_; }

  const Update update_;
  const Seen seen_;
  const Seconds period_;
  const Seconds max_age_;
  const TablePtr empty_ = std::make_shared<snmp_host::ObjectTable>();
  mutable std::mutex mutex_;  // protects the members from table_ to stopping_
  std::condition_variable stopped_;
  TablePtr table_ = empty_;
  Clock::time_point built_ = Clock::now();  // when the table's update ended
  std::optional<Clock::time_point> began_;  // start of the current update
  bool tried_ = false;
  bool stopping_ = false;
  std::array<char, 256> reported_{};  // the failure that was logged last; only the worker uses it
  std::future<void> worker_;          // last member: the thread starts when all other members are initialised
};

}  // namespace agentd
