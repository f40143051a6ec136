// SPDX-License-Identifier: MIT
// Computes the code that describes the whole device. The order of the checks is the priority of the codes.
#include <kvrn/psu.h>
#include <kvrn/status.h>

#include <algorithm>
#include <optional>
#include <span>

#include "battery/data_files.hpp"
#include "board/platform.hpp"
#include "status/alarms.hpp"
#include "status/flags.hpp"
#include "status/outputs.hpp"

namespace {

namespace flags = kvrn::flags;

// The summary of the PSU records.
struct Summary {
  int8_t calibration = 0;  // highest calibration level of all batteries
  int battery_mode = 0;    // 1 charging, 2 charging with the highest current
  bool battery = false;
  int inputs = 0;
  int mains = 0;  // number of inputs with mains
  bool low_voltage = false;
  bool battery_error = false;
};

bool has(uint8_t flag_bits, int bit) { return (flag_bits & bit) != 0; }

bool has_error(int psu) {
  const auto data = kvrn::read_battery_data(psu);
  return data && kvrn::is_battery_error(data->flags);
}

void add_battery(Summary& summary, const psu_info& record, int psu) {
  const int calibrating = kvrn::read_calibration(psu).state;
  const auto level = static_cast<int8_t>(calibrating & 0x0F);
  summary.calibration = std::max(summary.calibration, level);
  if (level == 0 && has_error(psu)) {
    summary.battery_error = true;
    return;
  }
  if (summary.battery_mode < 2 && has(record.battery_status, KVRN_PSU_BATTERY_CHARGING))
    summary.battery_mode = has(record.status, KVRN_PSU_STATUS_HIGH_CURRENT) ? 2 : 1;
  summary.battery = true;
  if ((calibrating & 0x0E) == 0 && kvrn::low_voltage(psu) != 0) summary.low_voltage = true;
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
  const auto outputs = static_cast<int>(kvrn::output_monitors().size());
  bool unconfigured = false;
  for (int output = 0; output < outputs; ++output) {
    const int configured = kvrn::read_flag(flags::output_enabled, output);
    if (configured == 1) return true;
    unconfigured = unconfigured || configured == 2;
  }
  return !unconfigured && !kvrn::is_output_on(0);
}

// The code while mains charges a battery. It is used only when no outage counts.
std::optional<kvrn_device_state> charging_code(const Summary& summary) {
  if (summary.mains == 0 || summary.battery_mode == 0 || summary.calibration >= 2) return std::nullopt;
  return summary.battery_mode == 2 ? KVRN_DEVICE_CHARGING_FAST : KVRN_DEVICE_CHARGING;
}

kvrn_device_state idle_code(const Summary& summary) {
  if (!summary.battery) return summary.mains != 0 ? KVRN_DEVICE_NO_BATTERY : KVRN_DEVICE_OFF;
  if (summary.mains == 0) return KVRN_DEVICE_ON_BATTERY;
  return summary.calibration < 2 ? KVRN_DEVICE_NORMAL : KVRN_DEVICE_CALIBRATING;
}

kvrn_device_state battery_outage_code(const Summary& summary) {
  if (summary.mains != 0) return KVRN_DEVICE_NO_BATTERY;
  return summary.battery ? KVRN_DEVICE_ON_BATTERY : KVRN_DEVICE_OFF;
}

kvrn_device_state state_of(const psu_info* psus) {
  const std::size_t count = psus == nullptr ? 0 : static_cast<std::size_t>(kvrn::source_count());
  const std::span<const psu_info> records(psus, count);
  const Summary summary = summarize(records);
  if (summary.battery_error) return KVRN_DEVICE_BATTERY_ERROR;
  if (const int overload = kvrn::overload(); overload != 0)
    return overload == 1 ? KVRN_DEVICE_OVERLOAD : KVRN_DEVICE_PROTECTED;
  if (outputs_off()) return KVRN_DEVICE_OFF;
  const bool ac_outage = kvrn::read_flag(flags::ac_outage) != 0 && summary.mains >= 1 && summary.mains < summary.inputs;
  bool battery_outage = kvrn::read_flag(flags::battery_outage) != 0;
  if (!ac_outage && (!battery_outage || !summary.battery)) {
    if (const auto code = charging_code(summary)) return *code;
    battery_outage = false;
  } else if (ac_outage) {
    battery_outage = battery_outage && summary.battery;
  }
  if (kvrn::low_voltage(-1) == 1) return KVRN_DEVICE_OFF;
  if (summary.low_voltage) return KVRN_DEVICE_LOW_VOLTAGE;
  if (ac_outage)
    return has(records[0].status, KVRN_PSU_STATUS_USABLE) ? KVRN_DEVICE_MAINS_PARTIAL_FIRST : KVRN_DEVICE_MAINS_PARTIAL;
  return battery_outage ? battery_outage_code(summary) : idle_code(summary);
}

}  // namespace

int get_device_state(const psu_info* psus) { return state_of(psus); }
