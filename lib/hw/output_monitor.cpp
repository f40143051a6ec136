// SPDX-License-Identifier: MIT
// The ISL28022 monitors of the DC outputs, through hwmon.
#include "hw/output_monitor.hpp"

#include <kvrn/hw.h>

#include <algorithm>

#include "board/platform.hpp"
#include "hw/hwmon.hpp"
#include "util/number.hpp"
#include "util/observe.hpp"

namespace kvrn {
namespace {

bool on_board(std::uint32_t output) { return output < output_monitors().size(); }

int measured(int output, const char* attribute, kvrn_fact fact) {
  const About about(of_output(output));
  return std::max(hwmon::read(output_monitors()[static_cast<unsigned>(output)], attribute, fact).value_or(0), 0);
}

int voltage_mv(int output) { return measured(output, "in0_input", KVRN_FACT_VOLTAGE); }
int current_ma(int output) { return measured(output, "curr1_input", KVRN_FACT_CURRENT); }

}  // namespace

std::int32_t Load::power_uw() const { return mul_i32(voltage_mv, current_ma); }

Load read_load(int output) {
  const int voltage = kvrn::voltage_mv(output);
  return {voltage, kvrn::current_ma(output)};
}

std::int32_t read_power_uw(std::uint32_t output) {
  return on_board(output) ? read_load(static_cast<int>(output)).power_uw() : 0;
}

std::int32_t read_total_power_uw() {
  std::int32_t sum = 0;
  for (std::uint32_t output = 0; on_board(output); ++output) sum = add_i32(sum, read_power_uw(output));
  return sum;
}

}  // namespace kvrn

int isl28022_read_voltage_id_direct(uint32_t output) {
  return kvrn::on_board(output) ? kvrn::voltage_mv(static_cast<int>(output)) : 0;
}

int isl28022_read_current_id_direct(uint32_t output) {
  return kvrn::on_board(output) ? kvrn::current_ma(static_cast<int>(output)) : 0;
}

int isl28022_read_power_id_direct(uint32_t output) { return kvrn::read_power_uw(output); }

int isl28022_read_power_out_direct() { return kvrn::read_total_power_uw(); }
