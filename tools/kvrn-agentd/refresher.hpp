// SPDX-License-Identifier: MIT
// The worker that owns the library: it builds a new table a period and hands out the last complete one.
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

using Clock = std::chrono::steady_clock;  // a step of the wall clock ages no table
using TablePtr = std::shared_ptr<const snmp_host::ObjectTable>;

class Refresher {
 public:
  using Seconds = std::chrono::duration<double>;
  // Fills a table. @return 0; anything else is a failure, with its text in `error`
  using Update = std::function<int(snmp_host::ObjectTable&, std::string& error)>;

  Refresher(Update update, Seconds period, Seconds max_age);
  Refresher(const Refresher&) = delete;

  // The last complete table; an empty one when that is older than max_age. Never waits for an update.
  TablePtr table() const;

  struct State {
    bool tried;    // the first update has ended, one way or the other
    bool expired;  // what table() hands out is empty because of its age
    Seconds busy;  // for how long the update that runs has been running; hardware that hangs makes it grow
  };
  State state() const;

  // @return false when the worker did not come back in time: the process must end without it
  bool stop(Seconds longest);

 private:
  void run();
  void refresh();
  void report(const char* error);
  bool is_expired() const { return Clock::now() - built_ > max_age_; }

  const Update update_;
  const Seconds period_;
  const Seconds max_age_;
  const TablePtr empty_ = std::make_shared<snmp_host::ObjectTable>();
  mutable std::mutex mutex_;  // for what follows, up to the worker's own
  std::condition_variable stopped_;
  TablePtr table_ = empty_;
  Clock::time_point built_ = Clock::now();  // when the table's update ended
  std::optional<Clock::time_point> began_;  // the update that runs
  bool tried_ = false;
  bool stopping_ = false;
  std::array<char, 256> reported_{};  // the failure that was logged last; the worker's own
  std::future<void> worker_;          // last: it begins with everything else in place
};

}  // namespace agentd
