// SPDX-License-Identifier: MIT
// Getters and setters of the alarm and status flags.
#include "status/alarms.hpp"

#include <kvrn/status.h>
#include <stdio.h>

#include "battery/data_files.hpp"
#include "board/platform.hpp"
#include "status/flags.hpp"

namespace flags = kvrn::flags;
using kvrn::read_flag;
using kvrn::write_flag;

namespace kvrn {

bool protection_tripped(int output) { return read_flag(flags::hw_protect, output) > 0; }

int overload() {
  const auto outputs = static_cast<int>(output_monitors().size());
  for (int output = 0; output < outputs; ++output)
    if (protection_tripped(output)) return 2;
  return read_flag(flags::overload);
}

int output_overload(int output) { return protection_tripped(output) ? 2 : read_flag(flags::overload_port, output); }

int low_voltage(int psu) {
  const int value = read_flag(flags::low_voltage, psu);
  if (value != 0 || psu < 2) return value;
  // A nearly empty battery counts as low voltage even when no process has set its flag.
  int32_t time_s = 0;
  int32_t third = 0;
  return read_estimate(psu, &time_s, &third, nullptr) < low_charge_pct ? 2 : 0;
}

bool is_battery_error(uint32_t flag_bits) {
  constexpr uint32_t harmless_bits = 0x14;
  return (flag_bits & ~harmless_bits) != 0;
}

}  // namespace kvrn

int get_overload_status() KVRN_DOOR(overload);

int get_overload_status_port(int port) KVRN_DOOR(output_overload);

int get_overload_flag(int which) { return read_flag(flags::overload_request, which != 0 ? 1 : 0); }

void set_overload_flag(int which, int value) { (void)write_flag(flags::overload_request, value, which != 0 ? 1 : 0); }

int insufficient_power_get() { return read_flag(flags::insufficient_power); }

int insufficient_power_set(int value) { return write_flag(flags::insufficient_power, value) ? 1 : 0; }

int get_dc_hwprotect_error(int port) { return kvrn::protection_tripped(port) ? 1 : 0; }

int set_dc_hwprotect_error(int port, int value) { return write_flag(flags::hw_protect, value, port) ? 1 : 0; }

int get_ac_outage_status() { return read_flag(flags::ac_outage); }

int ac_disabled_overload() { return read_flag(flags::ac_disabled_overload); }

int get_battery_outage_status() { return read_flag(flags::battery_outage); }

int is_dc_out_cfg_enabled(int port) { return read_flag(flags::output_enabled, port); }

int set_flag(int port, int value) { return write_flag(flags::output_enabled, value, port) ? 1 : 0; }

char* get_status_file(char* buffer, int index, const char* infix) {
  if (buffer == nullptr) return nullptr;
  const char* text = infix == nullptr ? "" : infix;
  // The size of the caller's buffer is unknown. The header states the length of the longest result.
  (void)::sprintf(buffer, index == -1 ? "%s%s_active" : "%s%s_%d_active", flags::low_voltage.base, text, index);
  return buffer;
}

int get_lvmonitor_status_psu(int psu) KVRN_DOOR(low_voltage);

int get_lvmonitor_status() { return kvrn::low_voltage(-1); }

int is_battery_status_error_flag(uint32_t flag_bits) { return kvrn::is_battery_error(flag_bits) ? 1 : 0; }
