// SPDX-License-Identifier: MIT
// Integer attributes of I2C and hwmon devices.
#include <kvrn/hw.h>

#include "hw/attribute.hpp"
#include "util/number.hpp"
#include "util/read_file.hpp"

namespace {

int read_attribute(const kvrn::Path& path, int* out) {
  const auto number = kvrn::read_number(path.c_str(), kvrn::parse_d).value;
  if (!number) return -1;
  *out = *number;
  return 0;
}

}  // namespace

int i2c_sysfs_readint(int bus, int address, const char* attribute, int* out) {
  if (out == nullptr || attribute == nullptr) return -1;
  return read_attribute(kvrn::i2c_sysfs_path(bus, address, attribute), out);
}

int i2c_hwmon_readint(const char* device, const char* attribute, int* out) {
  if (out == nullptr || device == nullptr || attribute == nullptr) return -1;
  return read_attribute(kvrn::hwmon_path(device, attribute), out);
}
