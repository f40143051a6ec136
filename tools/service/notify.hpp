// SPDX-License-Identifier: MIT
// Notifications for a service manager: the datagrams of sd_notify(3), whose format is stable. Without a manager,
// nothing is sent.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace service {

// Sends "READY=1", "WATCHDOG=1" or "STOPPING=1". @return false when sending failed, e.g. because the queue is full
bool notify(std::string_view state);

// The period for sending "WATCHDOG=1": half of the manager's time limit. Nothing when it does not watch this process.
std::optional<std::chrono::microseconds> watchdog_period();

}  // namespace service
