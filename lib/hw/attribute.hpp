// SPDX-License-Identifier: MIT
// Where the attribute files are.
#pragma once

#include "util/number.hpp"
#include "util/text.hpp"

namespace kvrn {

// The device's start-up scripts name the folder with the address in decimal, as a signed byte.
inline Path i2c_sysfs_path(int bus, int address, const char* attribute) {
  return Path("/sys/devices/platform/i2c/i2c-0/i2c-%d/%d-%04d/%s", bus, bus, int{wrap_i8(address)}, attribute);
}

inline Path hwmon_path(const char* device, const char* attribute) {
  return Path("/var/run/hwmon/%s/%s", device, attribute);
}

}  // namespace kvrn
