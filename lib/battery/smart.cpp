// SPDX-License-Identifier: MIT
// The readout of the smart battery: reads its registers in up to five passes into one record.
#include "battery/smart.hpp"

#include <time.h>

#include <array>
#include <bit>
#include <cerrno>

#include "battery/sbs_bus.hpp"
#include "util/number.hpp"
#include "util/observe.hpp"
#include "util/pause.hpp"
#include "util/read_file.hpp"
#include "util/text.hpp"

namespace {

using kvrn::SbsBus;
namespace sbs = kvrn::sbs;

constexpr int passes = 5;
constexpr int32_t unknown = INT32_MIN;
constexpr int32_t unknown_temp_c = 129;  // becomes -127 in the 8-bit field of a PSU record
constexpr int full_pass = 9;             // number of counted readings in a complete pass, without BatteryStatus
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

// The battery and notes about its answers, for programs that observe. For each fact the notes keep the read whose value
// is used. This is the last read that was useful.
class Asked {
 public:
  Asked(const SbsBus& battery, struct Notes& kept) : bus(battery), notes_(kept) {}
  const SbsBus& bus;

  // Reads a register. A value above the limit is not accepted.
  std::optional<uint16_t> word(uint8_t reg, kvrn_fact fact, uint32_t limit = UINT16_MAX) const;
  // Reads at most `capacity` bytes of a block.
  std::optional<kvrn::SbsBlock> block(uint16_t subcommand, kvrn_fact fact, unsigned capacity) const;

 private:
  struct Notes& notes_;
};

struct Note {
  bool asked;
  uint8_t number;
  kvrn_source_kind kind;
  kvrn_outcome outcome;
  int32_t value;
};

// One note for each fact. The order of the facts is the order of the reads.
struct Notes {
  static constexpr kvrn_fact first = KVRN_FACT_STATUS;
  std::array<Note, KVRN_FACT_BLOCK_55 - first + 1> of{};

  void add(kvrn_source_kind kind, uint8_t number, kvrn_fact fact, kvrn_outcome outcome, int32_t value) {
    Note& note = of[static_cast<std::size_t>(fact - first)];
    if (note.asked && note.outcome == KVRN_OUTCOME_ANSWERED && outcome != KVRN_OUTCOME_ANSWERED) return;
    note = {true, number, kind, outcome, value};
  }

  void tell(const kvrn::I2cDevice& device) const {
    int fact = first;
    for (const Note& note : of) {
      if (note.asked)
        kvrn::tell(nullptr, kvrn::reading(note.kind, static_cast<kvrn_fact>(fact)), note.outcome, note.value,
                   kvrn::on_bus(device.bus, device.address, note.number));
      ++fact;
    }
  }
};

std::optional<uint16_t> Asked::word(uint8_t reg, kvrn_fact fact, uint32_t limit) const {
  const auto raw = bus.read_word(reg);
  const bool refused = raw && *raw > limit;
  notes_.add(KVRN_SOURCE_I2C, reg, fact,
             refused ? KVRN_OUTCOME_REFUSED
             : raw   ? KVRN_OUTCOME_ANSWERED
                     : KVRN_OUTCOME_FAILED,
             raw ? *raw : errno);
  return refused ? std::nullopt : raw;
}

std::optional<kvrn::SbsBlock> Asked::block(uint16_t subcommand, kvrn_fact fact, unsigned capacity) const {
  const auto data = bus.read_block(subcommand, capacity);
  notes_.add(KVRN_SOURCE_BLOCK, static_cast<uint8_t>(subcommand), fact,
             data ? KVRN_OUTCOME_ANSWERED : KVRN_OUTCOME_FAILED, data ? static_cast<int32_t>(data->length) : errno);
  return data;
}

// Stores the value of a register if it is within its limit. @return 1 when stored, for the count of the pass
int store(const Asked& asked, uint8_t reg, kvrn_fact fact, uint32_t limit, int32_t scale, kvrn_be_i32& field) {
  const auto raw = asked.word(reg, fact, limit);
  if (!raw) return 0;
  field = *raw * scale;
  return 1;
}

int read_state(const Asked& asked, kvrn_sbs_battery_info& out) {
  const auto raw = asked.word(sbs::manufacturer_access, KVRN_FACT_STATE_CODE);
  if (!raw) return 0;
  const unsigned mode = *raw >> 8 & 0x0C;
  if (mode == 0) out.complete = 1;
  out.charge_state = mode == 0 ? 4 : mode == 8 ? 2 : 7;
  return 1;
}

int read_current(const Asked& asked, kvrn_sbs_battery_info& out) {
  const auto raw = asked.word(sbs::current, KVRN_FACT_CURRENT, 65534);
  if (!raw) return 0;
  const int32_t into_battery = kvrn::wrap_i16(*raw);
  out.current_ma = -into_battery;
  if (into_battery > 0) out.charging = 1;
  return 1;
}

int read_temperature(const Asked& asked, kvrn_sbs_battery_info& out) {
  const auto tenths_kelvin = asked.word(sbs::temperature, KVRN_FACT_TEMPERATURE);
  if (!tenths_kelvin) return 0;
  out.temp_c = kvrn::wrap_i16((*tenths_kelvin - 2731) / 10);
  return 1;
}

void read_manufacture_date(const Asked& asked, kvrn_sbs_battery_info& out) {
  const auto raw = asked.word(sbs::manufacture_date, KVRN_FACT_MANUFACTURE_DATE, 65534);
  if (!raw) return;
  tm date{};
  date.tm_mday = *raw & 0x1F;
  date.tm_mon = (*raw >> 5 & 0x0F) - 1;
  date.tm_year = 80 + (*raw >> 9);
  out.manufacture_time = int64_t{::timegm(&date)};
}

// When bit 15 of BatteryMode is set, the battery reports capacities in 10 mWh and not in mAh. This function clears the
// bit.
void select_mah(const Asked& asked) {
  constexpr uint16_t capacity_mode = 0x8000;
  const auto mode = asked.word(sbs::battery_mode, KVRN_FACT_CAPACITY_MODE);
  if (!mode || (*mode & capacity_mode) == 0) return;
  if (asked.bus.write_word(sbs::battery_mode, static_cast<uint16_t>(*mode & ~capacity_mode))) kvrn::pause_us(2000);
}

int read_charge(const Asked& asked, kvrn_sbs_battery_info& out) {
  (void)store(asked, sbs::full_charge_capacity, KVRN_FACT_FULL_CAPACITY, UINT16_MAX, 1,
              out.full_capacity_mah);  // not counted in the pass
  const auto remaining = asked.word(sbs::remaining_capacity, KVRN_FACT_REMAINING_CAPACITY);
  if (!remaining) return 0;
  const int32_t full = out.full_capacity_mah;  // may be from an earlier pass
  if (full == unknown || full == 0) return 1;
  const float pct = static_cast<float>(*remaining) / static_cast<float>(full) * 100.0F;
  if (pct < 200.0F) out.charge_pct = pct < 100.0F ? pct : 100.0F;  // 200 % or more is not a valid reading
  return 1;
}

void read_cells(const Asked& asked, kvrn_sbs_battery_info& out) {
  constexpr unsigned capacity = 32;
  const auto upper = asked.block(0x7B, KVRN_FACT_CELLS, capacity);
  if (!upper) return;
  for (unsigned i = 0; i < 3; ++i) out.cell_mv[4 + i] = upper->i16(6 * i);
  const auto lower = asked.block(0x71, KVRN_FACT_LOWER_CELLS, capacity);
  if (!lower) return;
  for (unsigned i = 0; i < 4; ++i) out.cell_mv[i] = lower->i16(2 * i);
}

// The value of a block. The block must have exactly `length` bytes.
int32_t block_value(const Asked& asked, uint16_t subcommand, kvrn_fact fact, unsigned length) {
  const auto block = asked.block(subcommand, fact, 4);
  if (!block || block->length != length) return unknown;
  return kvrn::wrap_i32(block->low(length));
}

// Reads the registers once, in the order of the battery. @return whether every counted reading succeeded
bool read_pass(const Asked& asked, kvrn_sbs_battery_info& out) {
  const auto status = asked.word(sbs::battery_status, KVRN_FACT_STATUS);
  if (status) out.charging = (*status & discharging_or_full) == 0 ? 1 : 0;
  int counted = read_state(asked, out);
  counted += store(asked, sbs::voltage, KVRN_FACT_VOLTAGE, 65534, 1, out.voltage_mv);
  counted += read_current(asked, out);
  counted += read_temperature(asked, out);
  counted += store(asked, sbs::average_time_to_empty, KVRN_FACT_TIME_TO_EMPTY, UINT16_MAX, 60, out.time_to_empty_s);
  counted += store(asked, sbs::average_time_to_full, KVRN_FACT_TIME_TO_FULL, UINT16_MAX, 60, out.time_to_full_s);
  counted += store(asked, sbs::cycle_count, KVRN_FACT_CYCLE_COUNT, UINT16_MAX, 1, out.cycle_count);
  read_manufacture_date(asked, out);
  select_mah(asked);
  counted += read_charge(asked, out);
  counted += store(asked, sbs::design_capacity, KVRN_FACT_DESIGN_CAPACITY, 65534, 1, out.design_capacity_mah);
  read_cells(asked, out);
  out.block_51 = block_value(asked, 0x51, KVRN_FACT_BLOCK_51, 4);
  out.block_55 = block_value(asked, 0x55, KVRN_FACT_BLOCK_55, 3);
  // A pass without BatteryStatus would need one more reading than there are, so such a pass is never complete.
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

namespace kvrn {

bool read_battery(const I2cDevice& device, kvrn_sbs_battery_info& out) {
  Notes notes;
  bool opened = true;
  bool complete = false;
  preset(out);
  for (int pass = 0; pass < passes && opened && !complete; ++pass) {
    pause_us(5000);
    {
      const SbsBus bus(device);
      opened = static_cast<bool>(bus);
      if (opened)
        complete = read_pass({bus, notes}, out);
      else
        tell_failed(nullptr, reading(KVRN_SOURCE_I2C, KVRN_FACT_RECORDS), on_bus(device.bus, device.address, -1));
    }
    if (complete) out.complete = 1;
    if (opened) pause_us(500);
  }
  notes.tell(device);
  return opened;
}

}  // namespace kvrn

int sbs_battery_get_direct(kvrn_sbs_battery_info* out) {
  return out != nullptr && kvrn::read_battery(kvrn::smart_battery_device, *out) ? 1 : 0;
}

int kvrn_smart_battery_read(int psu, kvrn_sbs_battery_info* out) {
  const kvrn::PowerSource* source = kvrn::platform().source(psu);
  if (out == nullptr || source == nullptr || source->kind != kvrn::SourceKind::smart_battery) return 0;
  return kvrn::read_battery(source->battery.smart, *out) ? 1 : 0;
}

int sbs_battery_shutdown() {
  constexpr int tries = 5;
  for (int attempt = 0; attempt < tries; ++attempt) {
    {
      const SbsBus bus(kvrn::smart_battery_device);
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
