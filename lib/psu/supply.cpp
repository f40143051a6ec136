// SPDX-License-Identifier: MIT
// The input supplies: mains detection and the telemetry of the supplies that speak PMBus.
#include <kvrn/hw.h>
#include <kvrn/psu.h>

#include <algorithm>
#include <optional>

#include "board/platform.hpp"
#include "psu/readout.hpp"
#include "util/handle.hpp"
#include "util/number.hpp"
#include "util/read_file.hpp"

namespace {

constexpr int mv_per_count = 400;
constexpr int ma_per_count = 100;
constexpr int temp_offset_c = 100;

// A register of a supply; 255 is the supply's "no data".
std::optional<int> telemetry(const kvrn::Fd& device, uint8_t reg) {
  uint8_t byte = 255;
  if (::i2cdev_readb(device.get(), reg, &byte) < 0 || byte == 255) return std::nullopt;
  return byte;
}

kvrn::Fd open_supply(const kvrn::Input& input) {
  return kvrn::Fd(::i2cdev_open(input.monitor_bus, input.monitor_address));
}

void read_telemetry(const kvrn::Input& input, psu_info& out) {
  const kvrn::Fd device = open_supply(input);
  if (!device) return;
  if (const auto count = telemetry(device, kvrn::supply_vout)) {
    out.supply_vout_mv = *count * mv_per_count;
    out.supply_status = KVRN_PSU_SUPPLY_TELEMETRY;
  }
  if (const auto count = telemetry(device, kvrn::supply_iout)) {
    out.supply_iout_ma = *count * ma_per_count;
    out.supply_status = KVRN_PSU_SUPPLY_TELEMETRY;
  }
  if (const auto count = telemetry(device, kvrn::supply_temperature)) {
    out.supply_temp_c = kvrn::wrap_i8(*count - temp_offset_c);
    out.supply_status = KVRN_PSU_SUPPLY_TELEMETRY;
  }
}

}  // namespace

namespace kvrn {

bool flag_file(const char* path, bool fallback) {
  const auto number = read_number(path, parse_d).value;
  return number ? *number > 0 : fallback;
}

void read_supply(psu_info& out, int psu) {
  const Input& input = inputs[psu == 0 ? 0 : 1];
  const bool answers = platform().slots;
  // An unreadable slot line counts as a supply in its slot.
  if (answers) out.type = ::gpio_read(input.slot_line) == 1 ? KVRN_PSU_TYPE_EMPTY : KVRN_PSU_TYPE_INPUT;
  out.supply_vout_mv = KVRN_PSU_UNKNOWN_I32;
  out.supply_iout_ma = KVRN_PSU_UNKNOWN_I32;
  out.supply_temp_c = KVRN_PSU_UNKNOWN_TEMP;
  out.status = KVRN_PSU_STATUS_FILLED;
  if (out.type == KVRN_PSU_TYPE_EMPTY || ::is_ac_connected(psu) == 0) return;
  out.status |= KVRN_PSU_STATUS_USABLE;
  if (answers) read_telemetry(input, out);
}

}  // namespace kvrn

int is_ac_connected(int input) {
  const kvrn::Input& facts = kvrn::inputs[input == 0 ? 0 : 1];
  return kvrn::flag_file(facts.mains_flag, ::gpio_read(facts.mains_line) == 0) ? 1 : 0;
}

int psu_info_ac_connected() { return ::is_ac_connected(0) + ::is_ac_connected(1); }

int get_psu_temp_info(int input, int* temp) {
  if (temp == nullptr) return 0;
  const kvrn::Fd device = open_supply(kvrn::inputs[input == 0 ? 0 : 1]);
  if (!device) return 0;
  const auto count = telemetry(device, kvrn::supply_temperature);
  if (!count) return 0;
  *temp = *count - temp_offset_c;
  return 1;
}

int read_lcm_temperature(int* temp) {
  if (temp == nullptr) return 0;
  int first = 0;
  int second = 0;
  const bool has_first = ::get_psu_temp_info(0, &first) != 0;
  const bool has_second = ::get_psu_temp_info(1, &second) != 0;
  if (!has_first && !has_second) return 0;
  if (has_first && has_second) first = std::max(first, second);
  *temp = has_first ? first : second;
  return 1;
}
