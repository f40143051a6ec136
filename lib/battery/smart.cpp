// SPDX-License-Identifier: MIT
// The smart battery's readout: up to five passes over its registers into one record.
#include <kvrn/battery.h>
#include <time.h>

#include <bit>

#include "battery/sbs_bus.hpp"
#include "util/number.hpp"
#include "util/pause.hpp"
#include "util/read_file.hpp"
#include "util/text.hpp"

namespace {

using kvrn::SbsBus;
namespace sbs = kvrn::sbs;

constexpr int passes = 5;
constexpr int32_t unknown = INT32_MIN;
constexpr int32_t unknown_temp_c = 129;  // becomes -127 in the 8-bit field of a PSU record
constexpr int full_pass = 9;             // counted readings of a complete pass, BatteryStatus apart
constexpr uint16_t discharging_or_full = 0x60;

void preset(kvrn_sbs_battery_info& out) {
  out = {};
  out.temp_c = unknown_temp_c;
  out.charge_pct = std::bit_cast<float>(UINT32_C(0xCF000000));
  for (kvrn_be_i32* field :
       {&out.voltage_mv, &out.current_ma, &out.time_to_empty_s, &out.time_to_full_s, &out.full_capacity_mah,
        &out.design_capacity_mah, &out.cycle_count, &out.block_51, &out.block_55})
    *field = unknown;
  for (kvrn_be_i32& cell : out.cell_mv) cell = unknown;
  out.manufacture_time = int64_t{unknown};
}

// Stores a register that passes its limit. @return 1 when stored, for the count of the pass
int store(const SbsBus& bus, uint8_t reg, uint32_t limit, int32_t scale, kvrn_be_i32& field) {
  const auto raw = bus.read_word(reg);
  if (!raw || *raw > limit) return 0;
  field = *raw * scale;
  return 1;
}

int read_state(const SbsBus& bus, kvrn_sbs_battery_info& out) {
  const auto raw = bus.read_word(sbs::manufacturer_access);
  if (!raw) return 0;
  const unsigned mode = *raw >> 8 & 0x0C;
  if (mode == 0) out.complete = 1;
  out.charge_state = mode == 0 ? 4 : mode == 8 ? 2 : 7;
  return 1;
}

int read_current(const SbsBus& bus, kvrn_sbs_battery_info& out) {
  const auto raw = bus.read_word(sbs::current);
  if (!raw || *raw == UINT16_MAX) return 0;
  const int32_t into_battery = kvrn::wrap_i16(*raw);
  out.current_ma = -into_battery;
  if (into_battery > 0) out.charging = 1;
  return 1;
}

int read_temperature(const SbsBus& bus, kvrn_sbs_battery_info& out) {
  const auto tenths_kelvin = bus.read_word(sbs::temperature);
  if (!tenths_kelvin) return 0;
  out.temp_c = kvrn::wrap_i16((*tenths_kelvin - 2731) / 10);
  return 1;
}

void read_manufacture_date(const SbsBus& bus, kvrn_sbs_battery_info& out) {
  const auto raw = bus.read_word(sbs::manufacture_date);
  if (!raw || *raw == UINT16_MAX) return;
  tm date{};
  date.tm_mday = *raw & 0x1F;
  date.tm_mon = (*raw >> 5 & 0x0F) - 1;
  date.tm_year = 80 + (*raw >> 9);
  out.manufacture_time = int64_t{::timegm(&date)};
}

// Bit 15 of BatteryMode makes the battery report capacities in 10 mWh instead of mAh: clear it.
void select_mah(const SbsBus& bus) {
  constexpr uint16_t capacity_mode = 0x8000;
  const auto mode = bus.read_word(sbs::battery_mode);
  if (!mode || (*mode & capacity_mode) == 0) return;
  if (bus.write_word(sbs::battery_mode, static_cast<uint16_t>(*mode & ~capacity_mode))) kvrn::pause_us(2000);
}

int read_charge(const SbsBus& bus, kvrn_sbs_battery_info& out) {
  (void)store(bus, sbs::full_charge_capacity, UINT16_MAX, 1, out.full_capacity_mah);  // not counted
  const auto remaining = bus.read_word(sbs::remaining_capacity);
  if (!remaining) return 0;
  const int32_t full = out.full_capacity_mah;  // perhaps an earlier pass's
  if (full == unknown || full == 0) return 1;
  const float pct = static_cast<float>(*remaining) / static_cast<float>(full) * 100.0F;
  if (pct < 200.0F) out.charge_pct = pct < 100.0F ? pct : 100.0F;  // twice the capacity is no reading
  return 1;
}

void read_cells(const SbsBus& bus, kvrn_sbs_battery_info& out) {
  constexpr unsigned capacity = 32;
  const auto upper = bus.read_block(0x7B, capacity);
  if (!upper) return;
  for (unsigned i = 0; i < 3; ++i) out.cell_mv[4 + i] = upper->i16(6 * i);
  const auto lower = bus.read_block(0x71, capacity);
  if (!lower) return;
  for (unsigned i = 0; i < 4; ++i) out.cell_mv[i] = lower->i16(2 * i);
}

// The value of a block that must be exactly `length` bytes long.
int32_t block_value(const SbsBus& bus, uint16_t subcommand, unsigned length) {
  const auto block = bus.read_block(subcommand, 4);
  if (!block || block->length != length) return unknown;
  return kvrn::wrap_i32(block->low(length));
}

// One pass over the registers, in the battery's order. @return every counted reading succeeded
bool read_pass(const SbsBus& bus, kvrn_sbs_battery_info& out) {
  const auto status = bus.read_word(sbs::battery_status);
  if (status) out.charging = (*status & discharging_or_full) == 0 ? 1 : 0;
  int counted = read_state(bus, out);
  counted += store(bus, sbs::voltage, 65534, 1, out.voltage_mv);
  counted += read_current(bus, out);
  counted += read_temperature(bus, out);
  counted += store(bus, sbs::average_time_to_empty, UINT16_MAX, 60, out.time_to_empty_s);
  counted += store(bus, sbs::average_time_to_full, UINT16_MAX, 60, out.time_to_full_s);
  counted += store(bus, sbs::cycle_count, UINT16_MAX, 1, out.cycle_count);
  read_manufacture_date(bus, out);
  select_mah(bus);
  counted += read_charge(bus, out);
  counted += store(bus, sbs::design_capacity, 65534, 1, out.design_capacity_mah);
  read_cells(bus, out);
  out.block_51 = block_value(bus, 0x51, 4);
  out.block_55 = block_value(bus, 0x55, 3);
  // Without BatteryStatus one reading more would be needed than there are: such a pass never completes.
  return status && counted == full_pass;
}

bool shut_down(const SbsBus& bus) {
  constexpr uint16_t shutdown = 0x0010;
  for (int sent = 0; sent < 2; ++sent) {
    if (!bus.write_word(sbs::manufacturer_access, shutdown)) return false;
    kvrn::pause_us(100'000);
  }
  return true;
}

}  // namespace

int sbs_battery_get_direct(kvrn_sbs_battery_info* out) {
  if (out == nullptr) return 0;
  preset(*out);
  for (int pass = 0; pass < passes; ++pass) {
    kvrn::pause_us(5000);
    bool complete = false;
    {
      const SbsBus bus = SbsBus::open();
      if (!bus) return 0;
      complete = read_pass(bus, *out);
      if (complete) out->complete = 1;
    }
    kvrn::pause_us(500);
    if (complete) break;
  }
  return 1;
}

int sbs_battery_shutdown() {
  constexpr int tries = 5;
  for (int attempt = 0; attempt < tries; ++attempt) {
    {
      const SbsBus bus = SbsBus::open();
      if (bus && shut_down(bus)) return 1;
    }
    kvrn::pause_us(5000);
  }
  return 0;
}

int read_sbs_int_value(const char* attribute, int64_t* out) {
  if (attribute == nullptr || out == nullptr) return 0;
  const kvrn::Text<128> path("/sys/class/power_supply/sbs-2-000b/%s", attribute);
  const auto number = kvrn::read_number(path.c_str(), kvrn::parse_lli).value;
  if (!number) return 0;
  *out = *number;
  return 1;
}
