// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/notifier.hpp"

#include <syslog.h>

#include <new>
#include <utility>

#include "tools/kvrn-agentd/notification.hpp"

namespace agentd {
namespace {

// net-snmp does not report that the master has taken a notification. The master answers in order: when it has answered
// a later ping, it has taken what was sent before. A ping goes out every second, and nothing goes on without its
// answer.
constexpr auto time_to_arrive = std::chrono::milliseconds(1500);

}  // namespace

Notifier::Notifier(std::string folder, unsigned most_a_minute) : file_(std::move(folder)), limit_(most_a_minute) {
  const auto text = file_.read();
  if (text && !standing_.load(*text)) file_.refuse();
}

void Notifier::see(const TablePtr& table) { standing_.see(look_at_device(table)); }

void Notifier::turn(bool linked, unsigned connection, bool expired) {
  // Without memory, the next turn goes on.
  try {
    if (expired) standing_.see(look_without_readings());
    settle(connection);
    unsaved_ = standing_.adopt_normal() || unsaved_;
    save();
    if (linked && !sent_) send_due(connection);
  } catch (const std::bad_alloc&) {
  }
}

void Notifier::end() {
  if (sent_) confirm();
  try {
    save();
  } catch (const std::bad_alloc&) {
  }
}

void Notifier::settle(unsigned connection) {
  if (!sent_) return;
  if (connection != sent_->connection) {
    // The master may have taken it, or not. It is better to tell twice than never.
    standing_.forget();
    sent_.reset();
  } else if (Clock::now() - sent_->last >= time_to_arrive) {
    confirm();
  }
}

void Notifier::confirm() {
  standing_.confirm();
  sent_.reset();
  unsaved_ = true;
}

void Notifier::save() {
  if (!unsaved_) return;
  file_.write(standing_.save());
  unsaved_ = false;
}

bool Notifier::give(const Change& change) {
  try {
    return limit_.allows(Clock::now()) && send(change);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void Notifier::send_due(unsigned connection) {
  while (const auto change = standing_.take()) {
    if (!give(*change)) {
      standing_.put_back(*change);
      if (!limit_.allows(Clock::now()) && !std::exchange(held_back_, true))
        ::syslog(LOG_WARNING, "too many notifications in a minute: the rest waits");
      return;
    }
    sent_ = {connection, Clock::now()};
    limit_.count(sent_->last);
    ::syslog(LOG_INFO, "notification: %s %u", change->condition->name, change->row);
  }
  if (limit_.allows(Clock::now())) held_back_ = false;
}

}  // namespace agentd
