// SPDX-License-Identifier: MIT
// Reads the batteries: the smart battery over I2C, the other battery through its hwmon monitor.
#include <kvrn/psu.h>
#include <syslog.h>

#include <algorithm>

#include "battery/smart.hpp"
#include "board/platform.hpp"
#include "hw/gpio.hpp"
#include "hw/hwmon.hpp"
#include "psu/readout.hpp"
#include "util/number.hpp"
#include "util/observe.hpp"
#include "util/read_file.hpp"

namespace kvrn {
namespace {

// Whether the lines select the highest charging current. The first line with another level decides, and the lines after
// it are not read.
bool high_current(const Charger& charger) {
  return std::ranges::all_of((*charger.currents)[0].lines, [](const LineLevel& wanted) {
    return wanted.line == 0 || gpio::read(wanted.line, KVRN_FACT_CHARGING_CURRENT) == (wanted.level != 0);
  });
}

// Reads what both kinds of battery have. @return whether the charge-disable line is inactive (also when it cannot be
// read)
bool read_charger(Readout& readout, const Charger& charger, psu_info& out) {
  const bool enabled_by_line = gpio::read(charger.disable_line, KVRN_FACT_CHARGE_DISABLE) != true;
  out.status = KVRN_PSU_STATUS_FILLED;
  if (readout.inputs_with_mains() > 0) out.status |= KVRN_PSU_STATUS_MAINS;
  if (flag_file(charger.enabled_flag, enabled_by_line, KVRN_FACT_CHARGER)) out.status |= KVRN_PSU_STATUS_CHARGER;
  if (high_current(charger)) out.status |= KVRN_PSU_STATUS_HIGH_CURRENT;
  out.battery_status = KVRN_PSU_BATTERY_VALID;
  out.max_charge_power_mw = static_cast<uint32_t>(platform().charge_power_mw);
  return enabled_by_line;
}

// The last step. A present battery is usable. It charges when there is mains, the line enables the charger, and the
// battery reports that it charges.
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
  out.battery_temp_c = wrap_i8(battery.temp_c);  // 129 becomes the unknown marker -127
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

// Whether the hwmon battery charges: decided by the file, else by the direction of the current.
bool hwmon_charging(const char* path, psu_info& out) {
  const bool by_current = out.current_ma < charging_threshold_ma;
  const auto file = read_number(path, parse_d, reading(KVRN_SOURCE_FILE, KVRN_FACT_CHARGING));
  if (!file.opened) return by_current;
  if (!file.value) {
    ::syslog(LOG_WARNING, "Unable to read charging status");
    return by_current;
  }
  if (*file.value < 0) out.battery_status |= KVRN_PSU_BATTERY_CHARGE_UNKNOWN;
  return *file.value > 0;
}

}  // namespace

void read_smart_battery(Readout& readout, const Battery& battery, psu_info& out) {
  const bool enabled_by_line = read_charger(readout, battery.charger, out);
  out.smart_battery = 1;
  kvrn_sbs_battery_info readings;
  // When the bus cannot be opened, the record keeps its unknown markers.
  if (published_battery(static_cast<int>(out.id), &readings) == 0) (void)read_battery(battery.smart, readings);
  copy_readings(readings, out);
  if ((readings.complete & 1) != 0) out.battery_status |= KVRN_PSU_BATTERY_PRESENT;
  conclude(out, enabled_by_line, readings.charging != 0);
  out.battery_kind = KVRN_PSU_BATTERY_SMART;
}

void read_hwmon_battery(Readout& readout, const Battery& battery, psu_info& out) {
  const bool enabled_by_line = read_charger(readout, battery.charger, out);
  const int voltage_mv = hwmon::read(battery.monitor, "in0_input", KVRN_FACT_VOLTAGE).value_or(0);
  out.current_ma = hwmon::read(battery.monitor, "curr1_input", KVRN_FACT_CURRENT).value_or(0);
  const bool present = gpio::read(battery.present_line, KVRN_FACT_PRESENT) == false;
  if (flag_file(battery.present_flag, present, KVRN_FACT_PRESENT)) {
    out.battery_status |= KVRN_PSU_BATTERY_PRESENT;
    out.voltage_mv = voltage_mv;  // without a battery the monitor measures a meaningless voltage
  }
  out.manufacture_time = KVRN_PSU_UNKNOWN_TIME;
  out.charge_pct = KVRN_PSU_UNKNOWN_PCT;
  for (kvrn_be_i32* field : {&out.time_to_empty_s, &out.time_to_full_s, &out.full_capacity_mah,
                             &out.design_capacity_mah, &out.cycle_count, &out.sbs_block_51, &out.sbs_block_55})
    *field = KVRN_PSU_UNKNOWN_I32;
  const bool charging = hwmon_charging(battery.charging_file, out);
  conclude(out, enabled_by_line, charging);
  out.battery_kind = KVRN_PSU_BATTERY_HWMON;
  out.battery_temp_c = KVRN_PSU_UNKNOWN_TEMP;  // the monitor measures no temperature
}

}  // namespace kvrn

int get_battery_current(int psu) {
  const kvrn::Platform& platform = kvrn::platform();
  if (psu < 2 || !platform.battery_current) return 0;
  return kvrn::hwmon::read(platform.battery(2, 2).monitor, "curr1_input", KVRN_FACT_CURRENT).value_or(0);
}

int get_chg_stat() { return kvrn::gpio::read(kvrn::charger_status_line, KVRN_FACT_CHARGING).value_or(true) ? 1 : 0; }
