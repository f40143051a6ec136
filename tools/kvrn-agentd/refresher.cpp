// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/refresher.hpp"

#include <syslog.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

namespace agentd {

Refresher::Refresher(Update update, Seconds period, Seconds max_age, Seen seen)
    : update_(std::move(update)),
      seen_(std::move(seen)),
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
    // After a late refresh, the missed refreshes are skipped.
    next = std::max(next + std::chrono::duration_cast<Clock::duration>(period_), Clock::now());
    stopped_.wait_until(lock, next, [this] { return stopping_; });
  }
}

void Refresher::refresh() {
  // Without memory the refresh fails, but the thread continues: there may be memory for the next refresh.
  try {
    const auto table = std::make_shared<snmp_host::ObjectTable>();
    std::string error;
    const bool complete = update_(*table, error) == 0;
    if (complete) {
      const std::lock_guard lock(mutex_);
      table_ = table;
      built_ = Clock::now();
    }
    report(complete ? "" : error.c_str());
    if (complete) seen_(table);
  } catch (const std::bad_alloc&) {
    report("no memory for the readings");
  } catch (const std::exception& failure) {
    report(failure.what());
  }
}

// Compares and stores only the start of the text, because the buffer is fixed: memory may be full.
void Refresher::report(const char* error) {
  if (std::strncmp(error, reported_.data(), reported_.size() - 1) == 0) return;
  if (*error == '\0')
    ::syslog(LOG_NOTICE, "the readings are complete again");
  else
    ::syslog(LOG_ERR, "%s", error);
  std::strncpy(reported_.data(), error, reported_.size() - 1);
}

}  // namespace agentd
