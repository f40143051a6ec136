// SPDX-License-Identifier: MIT
// What a service manager wants to hear: the datagrams of sd_notify(3), whose format is stable. Without a manager they
// go nowhere.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace service {

// "READY=1", "WATCHDOG=1", "STOPPING=1". @return false when a manager could not be told, for its queue is full
bool notify(std::string_view state);

// How often the manager wants to hear "WATCHDOG=1", or nothing when it does not watch this process.
std::optional<std::chrono::microseconds> watchdog_period();

}  // namespace service
