// SPDX-License-Identifier: MIT
// The ISL28022 monitors of the DC outputs, through hwmon.
#include <kvrn/hw.h>
#include <kvrn/psu.h>

#include "util/number.hpp"

namespace {

// Name of the monitor, or null when the board has no such output.
const char* monitor(uint32_t output) {
  int count = 0;
  const char* const* names = ::get_dc_out_addrs(&count);
  return output < static_cast<uint32_t>(count) ? names[output] : nullptr;
}

// A failed or negative reading is 0.
int reading(const char* device, const char* attribute) {
  int value = 0;
  if (::i2c_hwmon_readint(device, attribute, &value) != 0) return 0;
  return value < 0 ? 0 : value;
}

}  // namespace

int isl28022_read_voltage_id_direct(uint32_t output) { return reading(monitor(output), "in0_input"); }

int isl28022_read_current_id_direct(uint32_t output) { return reading(monitor(output), "curr1_input"); }

int isl28022_read_power_id_direct(uint32_t output) {
  return kvrn::mul_i32(::isl28022_read_voltage_id_direct(output), ::isl28022_read_current_id_direct(output));
}

int isl28022_read_power_out_direct() {
  int count = 0;
  (void)::get_dc_out_addrs(&count);
  int sum = 0;
  for (int i = 0; i < count; ++i) sum = kvrn::add_i32(sum, ::isl28022_read_power_id_direct(static_cast<uint32_t>(i)));
  return sum;
}
