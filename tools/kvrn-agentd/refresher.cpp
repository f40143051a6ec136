// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/refresher.hpp"

#include <syslog.h>

#include <algorithm>
#include <utility>

namespace agentd {

Refresher::Refresher(Update update, Seconds period, Seconds max_age)
    : update_(std::move(update)),
      period_(period),
      max_age_(max_age),
      worker_(std::async(std::launch::async, [this] { run(); })) {}

TablePtr Refresher::table() const {
  const std::lock_guard lock(mutex_);
  return is_expired() ? empty_ : table_;
}

Refresher::State Refresher::state() const {
  const std::lock_guard lock(mutex_);
  return {tried_, is_expired(), began_ ? Clock::now() - *began_ : Clock::duration::zero()};
}

bool Refresher::stop(Seconds longest) {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  stopped_.notify_all();
  return worker_.wait_for(longest) == std::future_status::ready;
}

void Refresher::run() {
  auto next = Clock::now();
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    began_ = Clock::now();
    lock.unlock();
    refresh();
    lock.lock();
    began_.reset();
    tried_ = true;
    // A late refresh is not caught up with.
    next = std::max(next + std::chrono::duration_cast<Clock::duration>(period_), Clock::now());
    stopped_.wait_until(lock, next, [this] { return stopping_; });
  }
}

void Refresher::refresh() {
  const auto table = std::make_shared<snmp_host::ObjectTable>();
  std::string error;
  const bool complete = update_(*table, error) == 0;
  if (complete) {
    const std::lock_guard lock(mutex_);
    table_ = table;
    built_ = Clock::now();
  }
  report(complete ? "" : error);
}

void Refresher::report(const std::string& error) {
  if (error == reported_) return;
  if (error.empty())
    ::syslog(LOG_NOTICE, "the readings are complete again");
  else
    ::syslog(LOG_ERR, "%s", error.c_str());
  reported_ = error;
}

}  // namespace agentd
