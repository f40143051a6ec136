// SPDX-License-Identifier: MIT
// Reads the input supplies: mains detection, and the measurements of the supplies with a PMBus interface.
#include <kvrn/psu.h>

#include <algorithm>
#include <cerrno>
#include <optional>

#include "board/platform.hpp"
#include "hw/gpio.hpp"
#include "hw/i2c.hpp"
#include "psu/readout.hpp"
#include "util/number.hpp"
#include "util/observe.hpp"
#include "util/read_file.hpp"

namespace kvrn {
namespace {

constexpr int mv_per_count = 400;
constexpr int ma_per_count = 100;
constexpr int temp_offset_c = 100;

// PMBus registers of a supply. Each has one byte with the supply's own scale, not the PMBus format.
enum SupplyRegister : std::uint8_t { vout = 0x8B, iout = 0x8C, temperature = 0x8D };

// An open supply. When it cannot be opened, every register read fails with the same error.
class Supply {
 public:
  explicit Supply(const I2cDevice& device) : at_(device), device_(i2c::open(device.bus, device.address)) {
    if (!device_) open_error_ = errno;
  }

  // The raw count of a register. The supply sends 255 for "no data".
  std::optional<int> count(SupplyRegister reg, kvrn_fact fact) const {
    const auto byte = device_ ? i2c::read_byte(device_, reg) : std::nullopt;
    const int count = byte.value_or(0);
    const kvrn_outcome outcome = !byte              ? KVRN_OUTCOME_FAILED
                                 : count == no_data ? KVRN_OUTCOME_REFUSED
                                                    : KVRN_OUTCOME_ANSWERED;
    tell(nullptr, reading(KVRN_SOURCE_I2C, fact), outcome,
         byte      ? count
         : device_ ? errno
                   : open_error_,
         on_bus(at_.bus, at_.address, reg));
    if (outcome != KVRN_OUTCOME_ANSWERED) return std::nullopt;
    return count;
  }

 private:
  static constexpr int no_data = 255;

  I2cDevice at_;
  Fd device_;
  int open_error_ = 0;
};

void read_telemetry(const Input& input, psu_info& out) {
  const Supply supply(input.supply);
  if (const auto count = supply.count(vout, KVRN_FACT_OUTPUT_VOLTAGE)) {
    out.supply_vout_mv = *count * mv_per_count;
    out.supply_status = KVRN_PSU_SUPPLY_TELEMETRY;
  }
  if (const auto count = supply.count(iout, KVRN_FACT_OUTPUT_CURRENT)) {
    out.supply_iout_ma = *count * ma_per_count;
    out.supply_status = KVRN_PSU_SUPPLY_TELEMETRY;
  }
  if (const auto count = supply.count(temperature, KVRN_FACT_TEMPERATURE)) {
    out.supply_temp_c = wrap_i8(*count - temp_offset_c);
    out.supply_status = KVRN_PSU_SUPPLY_TELEMETRY;
  }
}

std::optional<int> temperature_c(int input) {
  const int psu = platform().input_number(input);
  const auto count =
      Supply(platform().sources[static_cast<std::size_t>(psu)].input.supply).count(temperature, KVRN_FACT_TEMPERATURE);
  if (!count) return std::nullopt;
  return *count - temp_offset_c;
}

}  // namespace

bool flag_file(const char* path, bool fallback, kvrn_fact fact) {
  const auto number = read_number(path, parse_d, reading(KVRN_SOURCE_FILE, fact)).value;
  return number ? *number > 0 : fallback;
}

bool Readout::mains(int psu) {
  std::int8_t& known = mains_[psu];
  if (known == unread) {
    const About about(of_psu(psu));
    const Input& input = platform().sources[static_cast<std::size_t>(psu)].input;
    const bool by_line = gpio::read(input.mains_line, KVRN_FACT_MAINS) == false;
    known = flag_file(input.mains_flag, by_line, KVRN_FACT_MAINS) ? yes : no;
  }
  return known == yes;
}

int Readout::inputs_with_mains() {
  int count = 0;
  for (int psu = 0; psu < source_count(); ++psu)
    if (platform().sources[static_cast<std::size_t>(psu)].is_input() && mains(psu)) ++count;
  return count;
}

void read_supply(Readout& readout, const Input& input, psu_info& out) {
  const bool answers = input.slot_line != 0;
  // When the slot line cannot be read, the slot counts as occupied.
  if (answers && gpio::read(input.slot_line, KVRN_FACT_SLOT) == true) out.type = KVRN_PSU_TYPE_EMPTY;
  out.supply_vout_mv = KVRN_PSU_UNKNOWN_I32;
  out.supply_iout_ma = KVRN_PSU_UNKNOWN_I32;
  out.supply_temp_c = KVRN_PSU_UNKNOWN_TEMP;
  out.status = KVRN_PSU_STATUS_FILLED;
  if (out.type == KVRN_PSU_TYPE_EMPTY || !readout.mains(static_cast<int>(out.id))) return;
  out.status |= KVRN_PSU_STATUS_USABLE;
  if (answers) read_telemetry(input, out);
}

}  // namespace kvrn

int is_ac_connected(int input) { return kvrn::Readout().mains(kvrn::platform().input_number(input)) ? 1 : 0; }

int psu_info_ac_connected() { return kvrn::Readout().inputs_with_mains(); }

int get_psu_temp_info(int input, int* temp) {
  if (temp == nullptr) return 0;
  const auto celsius = kvrn::temperature_c(input);
  if (celsius) *temp = *celsius;
  return celsius ? 1 : 0;
}

int read_lcm_temperature(int* temp) {
  if (temp == nullptr) return 0;
  const auto first = kvrn::temperature_c(0);
  const auto second = kvrn::temperature_c(1);
  // std::max() treats a supply that does not answer as the colder one.
  const auto warmer = std::max(first, second);
  if (warmer) *temp = *warmer;
  return warmer ? 1 : 0;
}
