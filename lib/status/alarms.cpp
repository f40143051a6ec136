// SPDX-License-Identifier: MIT
// Getters and setters of the alarm and status flags.
#include <kvrn/battery.h>
#include <kvrn/psu.h>
#include <kvrn/status.h>
#include <stdio.h>

#include "status/flags.hpp"
#include "util/read_file.hpp"

namespace {

constexpr unsigned harmless_status_bits = 0x14;
constexpr int low_charge_pct = 11;

int lv_flag(int index) {
  char name[64];
  return kvrn::read_number(::get_status_file(name, index, ""), kvrn::parse_d).value.value_or(0);
}

}  // namespace

namespace flags = kvrn::flags;
using kvrn::read_flag;
using kvrn::write_flag;

int get_overload_status() {
  int outputs = 0;
  (void)::get_dc_out_addrs(&outputs);
  for (int output = 0; output < outputs; ++output)
    if (::get_dc_hwprotect_error(output) == 1) return 2;
  return read_flag(flags::overload);
}

int get_overload_status_port(int port) {
  return ::get_dc_hwprotect_error(port) == 1 ? 2 : read_flag(flags::overload_port, port);
}

int get_overload_flag(int which) { return read_flag(flags::overload_request, which != 0 ? 1 : 0); }

void set_overload_flag(int which, int value) { (void)write_flag(flags::overload_request, value, which != 0 ? 1 : 0); }

int insufficient_power_get() { return read_flag(flags::insufficient_power); }

int insufficient_power_set(int value) { return write_flag(flags::insufficient_power, value) ? 1 : 0; }

int get_dc_hwprotect_error(int port) { return read_flag(flags::hw_protect, port) > 0 ? 1 : 0; }

int set_dc_hwprotect_error(int port, int value) { return write_flag(flags::hw_protect, value, port) ? 1 : 0; }

int get_ac_outage_status() { return read_flag(flags::ac_outage); }

int ac_disabled_overload() { return read_flag(flags::ac_disabled_overload); }

int get_battery_outage_status() { return read_flag(flags::battery_outage); }

int is_dc_out_cfg_enabled(int port) { return read_flag(flags::output_enabled, port); }

int set_flag(int port, int value) { return write_flag(flags::output_enabled, value, port) ? 1 : 0; }

char* get_status_file(char* buffer, int index, const char* infix) {
  if (buffer == nullptr) return nullptr;
  const char* text = infix == nullptr ? "" : infix;
  // The caller's buffer has no stated size: the header names the longest result.
  if (index == -1)
    (void)::sprintf(buffer, "/tmp/.lv%s_active", text);
  else
    (void)::sprintf(buffer, "/tmp/.lv%s_%d_active", text, index);
  return buffer;
}

int get_lvmonitor_status_psu(int psu) {
  const int value = lv_flag(psu);
  if (value != 0 || psu < 2) return value;
  // A battery that is nearly empty counts as low voltage even when nobody set its flag.
  int time_s = 0;
  int third = 0;
  return ::get_battery_data(psu, &time_s, &third) < low_charge_pct ? 2 : 0;
}

int get_lvmonitor_status() { return ::get_lvmonitor_status_psu(-1); }

int is_battery_status_error_flag(uint32_t flag_bits) { return (flag_bits & ~harmless_status_bits) != 0 ? 1 : 0; }
