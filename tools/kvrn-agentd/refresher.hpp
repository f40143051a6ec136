// SPDX-License-Identifier: MIT
// The worker that owns the library: it builds a new table a period and hands out the last complete one.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "tools/snmp/object_table.hpp"

namespace agentd {

using Clock = std::chrono::steady_clock;  // a step of the wall clock ages no table
using TablePtr = std::shared_ptr<const snmp_host::ObjectTable>;

class Refresher {
 public:
  // Fills a table. @return 0; anything else is a failure, with its text in `error`
  using Update = std::function<int(snmp_host::ObjectTable&, std::string& error)>;

  Refresher(Update update, std::chrono::duration<double> period, std::chrono::duration<double> max_age);
  ~Refresher();
  Refresher(const Refresher&) = delete;

  // The last complete table; an empty one when that is older than max_age. Never waits for an update.
  TablePtr table() const;

  // How long ago the worker was last seen between two updates. Hardware that hangs makes it grow.
  std::chrono::duration<double> silence() const;

  // Waits until the first update has ended, one way or the other. @return it has
  bool wait_first(std::chrono::duration<double> longest);

  // @return false when the worker did not come back in time: it is left behind, and the process must end without it
  bool stop(std::chrono::duration<double> longest);

 private:
  void run();
  void refresh();
  void report(const std::string& error);

  const Update update_;
  const std::chrono::duration<double> period_;
  const std::chrono::duration<double> max_age_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  const TablePtr empty_ = std::make_shared<snmp_host::ObjectTable>();
  TablePtr table_ = empty_;
  Clock::time_point built_;  // when the table's update ended
  Clock::time_point seen_ = Clock::now();
  bool first_ = false;
  bool stopping_ = false;
  bool ended_ = false;
  std::string reported_;  // the failure that was logged last; the worker's own
  std::thread worker_;    // last: it begins with everything else in place
};

}  // namespace agentd
