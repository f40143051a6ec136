// SPDX-License-Identifier: MIT
// The batteries: the smart one over I2C, the other through its hwmon monitor.
#include <kvrn/battery.h>
#include <kvrn/hw.h>
#include <syslog.h>

#include <algorithm>

#include "board/platform.hpp"
#include "psu/readout.hpp"
#include "util/number.hpp"
#include "util/read_file.hpp"

namespace {

using kvrn::Charger;

// Whether the lines select the highest charging current. A line that decides is the last one read.
bool high_current(int psu) {
  const auto& lines = kvrn::platform().charging_table(psu)[0].lines;
  return std::ranges::all_of(lines, [](const kvrn::LineLevel& wanted) {
    return wanted.line == 0 || ::gpio_read(wanted.line) == wanted.level;
  });
}

// What both kinds of battery have in common; @return the charge-disable line is 0 (also when it cannot be read).
bool read_charger(const Charger& charger, psu_info& out) {
  const bool enabled_by_line = ::gpio_read(charger.disable_line) != 1;
  out.status = KVRN_PSU_STATUS_FILLED;
  if (::psu_info_ac_connected() > 0) out.status |= KVRN_PSU_STATUS_MAINS;
  if (kvrn::flag_file(charger.enabled_flag, enabled_by_line)) out.status |= KVRN_PSU_STATUS_CHARGER;
  if (high_current(charger.psu)) out.status |= KVRN_PSU_STATUS_HIGH_CURRENT;
  out.battery_status = KVRN_PSU_BATTERY_VALID;
  return enabled_by_line;
}

// The last step: a present battery is usable, and it charges when mains, charger and the battery itself say so.
void conclude(psu_info& out, bool enabled_by_line, bool charging) {
  if ((out.battery_status & KVRN_PSU_BATTERY_PRESENT) == 0) return;
  out.status |= KVRN_PSU_STATUS_USABLE;
  if ((out.status & KVRN_PSU_STATUS_MAINS) != 0 && enabled_by_line && charging)
    out.battery_status |= KVRN_PSU_BATTERY_CHARGING;
}

void copy_readings(const kvrn_sbs_battery_info& battery, psu_info& out) {
  out.voltage_mv = battery.voltage_mv;
  out.current_ma = battery.current_ma;
  out.charge_pct = battery.charge_pct;
  out.battery_temp_c = kvrn::wrap_i8(battery.temp_c);  // 129 becomes the unknown marker -127
  out.time_to_empty_s = battery.time_to_empty_s;
  out.time_to_full_s = battery.time_to_full_s;
  out.charge_state = battery.charge_state;
  out.full_capacity_mah = battery.full_capacity_mah;
  out.design_capacity_mah = battery.design_capacity_mah;
  out.cycle_count = battery.cycle_count;
  std::copy_n(battery.cell_mv, KVRN_SBS_CELLS, out.cell_mv);
  out.cell_mv[KVRN_SBS_CELLS] = KVRN_PSU_UNKNOWN_I32;
  out.cell_count = KVRN_SBS_CELLS;
  out.sbs_block_51 = battery.block_51;
  out.sbs_block_55 = battery.block_55;
  out.manufacture_time = battery.manufacture_time;
}

// Whether the hwmon battery charges: what "/tmp/.charging_status" says, else the direction of the current.
bool hwmon_charging(psu_info& out) {
  const bool by_current = out.current_ma < kvrn::charging_threshold_ma;
  const auto file = kvrn::read_number(kvrn::charging_status_file, kvrn::parse_d);
  if (!file.opened) return by_current;
  if (!file.value) {
    ::syslog(LOG_WARNING, "Unable to read charging status");
    return by_current;
  }
  if (*file.value < 0) out.battery_status |= KVRN_PSU_BATTERY_CHARGE_UNKNOWN;
  return *file.value > 0;
}

}  // namespace

namespace kvrn {

void read_smart_battery(psu_info& out) {
  const bool enabled_by_line = read_charger(smart_charger, out);
  out.smart_battery = 1;
  kvrn_sbs_battery_info battery;
  if (::get_battery_info(3, &battery) == 0) (void)::sbs_battery_get_direct(&battery);  // 0 leaves the markers
  copy_readings(battery, out);
  if ((battery.complete & 1) != 0) out.battery_status |= KVRN_PSU_BATTERY_PRESENT;
  out.max_charge_power_mw = static_cast<uint32_t>(::get_max_charging_power(1));
  conclude(out, enabled_by_line, battery.charging != 0);
  out.battery_kind = KVRN_PSU_BATTERY_SMART;
}

void read_hwmon_battery(psu_info& out) {
  const bool enabled_by_line = read_charger(hwmon_charger, out);
  int voltage_mv = 0;
  int current_ma = 0;
  (void)::i2c_hwmon_readint(battery_monitor, "in0_input", &voltage_mv);  // a failed reading stays 0
  (void)::i2c_hwmon_readint(battery_monitor, "curr1_input", &current_ma);
  out.current_ma = current_ma;
  out.max_charge_power_mw = static_cast<uint32_t>(::get_max_charging_power(1));
  if (flag_file(battery_present_flag, ::gpio_read(battery_present_line) == 0)) {
    out.battery_status |= KVRN_PSU_BATTERY_PRESENT;
    out.voltage_mv = voltage_mv;  // an absent battery has no voltage, whatever floats on its terminals
  }
  out.manufacture_time = KVRN_PSU_UNKNOWN_TIME;
  out.charge_pct = KVRN_PSU_UNKNOWN_PCT;
  for (kvrn_be_i32* field : {&out.time_to_empty_s, &out.time_to_full_s, &out.full_capacity_mah,
                             &out.design_capacity_mah, &out.cycle_count, &out.sbs_block_51, &out.sbs_block_55})
    *field = KVRN_PSU_UNKNOWN_I32;
  const bool charging = hwmon_charging(out);
  conclude(out, enabled_by_line, charging);
  out.battery_kind = KVRN_PSU_BATTERY_HWMON;
  out.battery_temp_c = KVRN_PSU_UNKNOWN_TEMP;  // this path has no temperature
}

}  // namespace kvrn

int get_battery_current(int psu) {
  int current_ma = 0;
  if (psu >= 2 && kvrn::platform().battery_current)
    (void)::i2c_hwmon_readint(kvrn::battery_monitor, "curr1_input", &current_ma);  // a failed reading stays 0
  return current_ma;
}

int get_chg_stat() {
  const int level = ::gpio_read(kvrn::charger_status_line);
  return level == KVRN_GPIO_FAILED ? 1 : level;
}
