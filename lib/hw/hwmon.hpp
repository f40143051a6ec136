// SPDX-License-Identifier: MIT
// Integer attributes of I2C and hwmon devices.
#pragma once

#include <kvrn/observe.h>

#include <optional>

namespace kvrn::hwmon {

// Reads an attribute of a monitor by the monitor's name; nullopt when it cannot be read.
std::optional<int> read(const char* device, const char* attribute, kvrn_fact fact);

}  // namespace kvrn::hwmon
