// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/refresher.hpp"

#include <syslog.h>

#include <algorithm>
#include <utility>

namespace agentd {
namespace {

Clock::duration ticks(std::chrono::duration<double> time) { return std::chrono::duration_cast<Clock::duration>(time); }

}  // namespace

Refresher::Refresher(Update update, std::chrono::duration<double> period, std::chrono::duration<double> max_age)
    : update_(std::move(update)), period_(period), max_age_(max_age), worker_([this] { run(); }) {}

Refresher::~Refresher() {
  if (worker_.joinable()) (void)stop(max_age_);
}

TablePtr Refresher::table() const {
  const std::lock_guard lock(mutex_);
  return Clock::now() - built_ > max_age_ ? empty_ : table_;
}

std::chrono::duration<double> Refresher::silence() const {
  const std::lock_guard lock(mutex_);
  return Clock::now() - seen_;
}

bool Refresher::wait_first(std::chrono::duration<double> longest) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, longest, [this] { return first_; });
}

bool Refresher::stop(std::chrono::duration<double> longest) {
  std::unique_lock lock(mutex_);
  stopping_ = true;
  changed_.notify_all();
  const bool ended = changed_.wait_for(lock, longest, [this] { return ended_; });
  lock.unlock();
  if (ended)
    worker_.join();
  else
    worker_.detach();
  return ended;
}

void Refresher::run() {
  auto next = Clock::now();
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    lock.unlock();
    refresh();
    lock.lock();
    first_ = true;
    seen_ = Clock::now();
    changed_.notify_all();
    next = std::max(next + ticks(period_), seen_);  // a late refresh is not caught up with
    changed_.wait_until(lock, next, [this] { return stopping_; });
  }
  ended_ = true;
  changed_.notify_all();
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
    ::syslog(LOG_ERR, "%s; the last complete readings stay for %g s", error.c_str(), max_age_.count());
  reported_ = error;
}

}  // namespace agentd
