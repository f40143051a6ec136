// SPDX-License-Identifier: MIT
#include "hw/hwmon.hpp"

#include <kvrn/hw.h>

#include "util/number.hpp"
#include "util/read_file.hpp"
#include "util/text.hpp"

namespace {

using kvrn::Path;

// The start-up scripts of the device name the folder with the address as a signed decimal byte.
Path i2c_path(int bus, int address, const char* attribute) {
  return Path("/sys/devices/platform/i2c/i2c-0/i2c-%d/%d-%04d/%s", bus, bus, int{kvrn::wrap_i8(address)}, attribute);
}

std::optional<int> read_at(const Path& path, kvrn_fact fact) {
  return kvrn::read_number(path.c_str(), kvrn::parse_d, kvrn::reading(KVRN_SOURCE_HWMON, fact)).value;
}

int store(std::optional<int> value, int* out) {
  if (!value) return -1;
  *out = *value;
  return 0;
}

}  // namespace

namespace kvrn::hwmon {

std::optional<int> read(const char* device, const char* attribute, kvrn_fact fact) {
  return read_at(Path("/var/run/hwmon/%s/%s", device, attribute), fact);
}

}  // namespace kvrn::hwmon

int i2c_sysfs_readint(int bus, int address, const char* attribute, int* out) {
  if (out == nullptr || attribute == nullptr) return -1;
  return store(read_at(i2c_path(bus, address, attribute), KVRN_FACT_NONE), out);
}

int i2c_hwmon_readint(const char* device, const char* attribute, int* out) {
  if (out == nullptr || device == nullptr || attribute == nullptr) return -1;
  return store(kvrn::hwmon::read(device, attribute, KVRN_FACT_NONE), out);
}
