// SPDX-License-Identifier: MIT
// The one code that sums up the device. The order of the checks is the priority of the codes.
#include <kvrn/battery.h>
#include <kvrn/psu.h>
#include <kvrn/status.h>

#include <algorithm>
#include <optional>
#include <span>

#include "util/number.hpp"

namespace {

// What the PSU records say.
struct Summary {
  int8_t calibration = 0;  // highest level of any battery
  int battery_mode = 0;    // 1 charging, 2 charging with the highest current
  bool battery = false;
  int inputs = 0;
  int mains = 0;  // inputs with mains
  bool low_voltage = false;
  bool battery_error = false;
};

bool has(uint8_t flag_bits, int bit) { return (flag_bits & bit) != 0; }

bool has_error(int psu) {
  uint32_t flag_bits = 0;
  int value = 0;
  return ::read_battery_flags(psu, &flag_bits, &value) != 0 && ::is_battery_status_error_flag(flag_bits) == 1;
}

void add_battery(Summary& summary, const psu_info& record, int psu) {
  int percentage = 0;
  const int calibrating = ::read_battery_calibrating(psu, &percentage);
  const auto level = static_cast<int8_t>(calibrating & 0x0F);
  summary.calibration = std::max(summary.calibration, level);
  if (level == 0 && has_error(psu)) {
    summary.battery_error = true;
    return;
  }
  if (summary.battery_mode < 2 && has(record.battery_status, KVRN_PSU_BATTERY_CHARGING))
    summary.battery_mode = has(record.status, KVRN_PSU_STATUS_HIGH_CURRENT) ? 2 : 1;
  summary.battery = true;
  if ((calibrating & 0x0E) == 0 && ::get_lvmonitor_status_psu(psu) != 0) summary.low_voltage = true;
}

Summary summarize(std::span<const psu_info> records) {
  Summary summary;
  for (std::size_t i = 0; i < records.size() && !summary.battery_error; ++i) {
    const psu_info& record = records[i];
    if (record.type == KVRN_PSU_TYPE_INPUT) {
      ++summary.inputs;
      if (has(record.status, KVRN_PSU_STATUS_USABLE)) ++summary.mains;
    } else if (record.type == KVRN_PSU_TYPE_BATTERY && has(record.battery_status, KVRN_PSU_BATTERY_PRESENT)) {
      add_battery(summary, record, static_cast<int>(i));
    }
  }
  return summary;
}

bool outputs_off() {
  int outputs = 0;
  (void)::get_dc_out_addrs(&outputs);
  bool unconfigured = false;
  for (int output = 0; output < outputs; ++output) {
    const int configured = ::is_dc_out_cfg_enabled(output);
    if (configured == 1) return true;
    unconfigured = unconfigured || configured == 2;
  }
  return !unconfigured && ::is_dc_out_enabled(0) == 0;
}

// 10 or 11 while mains charges a battery; asked only when no outage counts.
std::optional<int> charging_code(const Summary& summary) {
  if (summary.mains == 0 || summary.battery_mode == 0 || summary.calibration >= 2) return std::nullopt;
  return summary.battery_mode == 2 ? 11 : 10;
}

int idle_code(const Summary& summary) {
  if (!summary.battery) return summary.mains != 0 ? 14 : 5;
  if (summary.mains == 0) return 1;
  return summary.calibration < 2 ? 0 : 12;
}

int battery_outage_code(const Summary& summary) {
  if (summary.mains != 0) return 14;
  return summary.battery ? 1 : 5;
}

}  // namespace

int get_device_state(const psu_info* psus) {
  const std::size_t count = psus == nullptr ? 0 : static_cast<std::size_t>(::get_psu_count());
  const std::span<const psu_info> records(psus, count);
  const Summary summary = summarize(records);
  if (summary.battery_error) return 13;
  if (const int overload = ::get_overload_status(); overload != 0) return overload == 1 ? 8 : 9;
  if (outputs_off()) return 5;
  const bool ac_outage = ::get_ac_outage_status() != 0 && summary.mains >= 1 && summary.mains < summary.inputs;
  bool battery_outage = ::get_battery_outage_status() != 0;
  if (!ac_outage && (!battery_outage || !summary.battery)) {
    if (const auto code = charging_code(summary)) return *code;
    battery_outage = false;
  } else if (ac_outage) {
    battery_outage = battery_outage && summary.battery;
  }
  if (::get_lvmonitor_status() == 1) return 5;
  if (summary.low_voltage) return 4;
  if (ac_outage) return has(records[0].status, KVRN_PSU_STATUS_USABLE) ? 7 : 6;
  return battery_outage ? battery_outage_code(summary) : idle_code(summary);
}
