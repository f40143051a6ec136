// SPDX-License-Identifier: MIT
// Where the attribute files are.
#pragma once

#include "util/text.hpp"

namespace kvrn {

Path i2c_sysfs_path(int bus, int address, const char* attribute);
Path hwmon_path(const char* device, const char* attribute);

}  // namespace kvrn
