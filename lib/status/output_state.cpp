// SPDX-License-Identifier: MIT
// Determines the state of each DC output, and which outputs are shed.
#include "hw/output_monitor.hpp"
#include "status/alarms.hpp"
#include "status/flags.hpp"
#include "status/outputs.hpp"
#include "util/number.hpp"

namespace kvrn {
namespace {

constexpr int noise_uw = 100'000;
constexpr int idle_uw = 900'000;

void measure(output_status& record, int output) {
  record.enabled = is_output_on(output) && !protection_tripped(output) ? 1 : 0;
  const Load load = read_load(output);
  const int power_uw = load.power_uw();
  record.voltage_mv = load.voltage_mv;
  record.current_ma = load.current_ma;
  record.power_uw = power_uw < noise_uw ? 0 : power_uw;  // also for a product that wraps to a negative number
}

kvrn_output_state alarm_state(int output) {
  switch (output_overload(output)) {
    case 2:
      return KVRN_OUTPUT_PROTECTED;
    case 1:
      return KVRN_OUTPUT_OVERLOAD;
    default:
      return read_flag(flags::insufficient_power) != 0 ? KVRN_OUTPUT_SHED : KVRN_OUTPUT_NORMAL;
  }
}

int power_mw(const output_status& record) { return record.power_uw / uw_per_mw; }

// Sheds outputs, starting with the highest number, until the power of the other outputs is within the limit. An output
// that already has another state keeps this state, but its power is subtracted too.
void shed(std::span<output_status> records, int total_mw, int limit_mw) {
  for (std::size_t i = records.size(); i-- > 0 && total_mw > limit_mw;) {
    total_mw = add_i32(total_mw, -power_mw(records[i]));
    if (records[i].state == KVRN_OUTPUT_NORMAL) records[i].state = KVRN_OUTPUT_SHED;
  }
}

}  // namespace

void read_outputs(std::span<output_status> records, const int* limit_mw) {
  const bool overloaded = overload() != 0;
  const bool low = low_voltage(-1) == 1;
  int total_mw = 0;
  for (std::size_t i = 0; i < records.size(); ++i) {
    const auto output = static_cast<int>(i);
    measure(records[i], output);
    records[i].state = low ? KVRN_OUTPUT_SHED : alarm_state(output);
    if (!low) total_mw = add_i32(total_mw, power_mw(records[i]));
  }
  if (!low && overloaded && limit_mw != nullptr) shed(records, total_mw, *limit_mw);
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (records[i].state != KVRN_OUTPUT_NORMAL) continue;
    if (read_flag(flags::output_enabled, static_cast<int>(i)) < 2)
      records[i].state = KVRN_OUTPUT_CONFIGURED_OFF;
    else if (records[i].power_uw < idle_uw)
      records[i].state = KVRN_OUTPUT_IDLE;
  }
}

}  // namespace kvrn
