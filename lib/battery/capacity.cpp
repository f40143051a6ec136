// SPDX-License-Identifier: MIT
// Capacity of the lead-acid battery by Peukert's law, and open-circuit voltages. The battery monitor compares the
// results of different devices. The precision of each step affects the results and must not change.
#include <kvrn/battery.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>

#include "battery/data_files.hpp"
#include "cfg/parse.hpp"
#include "cfg/query.hpp"
#include "util/door.hpp"
#include "util/number.hpp"

namespace {

constexpr int lead_acid_psu = 2;
constexpr int32_t default_capacity_ah = 20;

// The integers below "psu.monitor.battery.". The file is read when the first of them is needed.
class Settings {
 public:
  int32_t number(const char* name, int32_t fallback) {
    if (!parsed_) config_.reset(kvrn::load(kvrn::device_config));
    parsed_ = true;
    return kvrn::find_number(config_.get(), kvrn::pattern_of("psu.monitor.battery.%s", name)).value_or(fallback);
  }

 private:
  kvrn::Config config_;
  bool parsed_ = false;
};

// The settings, which the process keeps. 0 means that a setting is not loaded.
struct Loaded {
  int32_t capacity_mah;
  float exponent;
  uint64_t reference_ma;
  int64_t mtime;
  int64_t size;
};
Loaded loaded{};

bool configuration_changed() {
  struct stat status {};
  if (::stat(kvrn::device_config, &status) != 0) return true;
  const int64_t mtime = status.st_mtime;
  const int64_t size = status.st_size;
  if (mtime == loaded.mtime && size == loaded.size) return false;
  loaded.mtime = mtime;
  loaded.size = size;
  return true;
}

double peukert_of(uint32_t capacity_ah, int fixed) KVRN_INNER(peukert_of);
double peukert_of(uint32_t capacity_ah, int fixed) {
  if (fixed != 0) return 1.01;
  // The first line starts at 7, but is used only from 8 on. The exponent therefore drops between 7 and 8. This stays
  // so, because devices already reported capacities that were computed with it.
  if (capacity_ah < 8) return 1.21;
  if (capacity_ah < 40) return 1.21 + (1.06 - 1.21) * (static_cast<double>(capacity_ah) - 7) / (40 - 7);
  if (capacity_ah < 150) return 1.06 + (1.04 - 1.06) * (static_cast<double>(capacity_ah) - 40) / (150 - 40);
  return 1.04;
}

uint32_t calibration_ma(uint32_t hours, uint32_t capacity_ah) KVRN_INNER(calibration_ma);
uint32_t calibration_ma(uint32_t hours, uint32_t capacity_ah) {
  if (hours == 0) hours = capacity_ah < 31 ? 20 : 10;
  return capacity_ah * 1000 / hours;
}

uint64_t corrected_freely(uint64_t amount, uint64_t current, uint64_t reference, double exponent)
    KVRN_INNER(corrected_freely);
uint64_t corrected_freely(uint64_t amount, uint64_t current, uint64_t reference, double exponent) {
  if (reference == 0 || exponent < 1.0) return amount;
  const double ratio = (static_cast<double>(current) / 1000) / (static_cast<double>(reference) / 1000);
  return kvrn::truncated_u64(static_cast<double>(amount) * std::pow(ratio, exponent - 1));
}

// At least 95 % of the amount.
uint64_t corrected(uint64_t amount, uint64_t current, uint64_t reference, double exponent) KVRN_INNER(corrected);
uint64_t corrected(uint64_t amount, uint64_t current, uint64_t reference, double exponent) {
  const uint64_t least = kvrn::truncated_u64(static_cast<double>(amount) * 0.95);
  return std::max(corrected_freely(amount, current, reference, exponent), least);
}

float exponent_of(Settings& settings, uint32_t capacity_ah) {
  const float configured = static_cast<float>(settings.number("peukert", 0)) / 1000.0F;
  return configured != 0.0F ? configured : static_cast<float>(peukert_of(capacity_ah, 0));
}

uint64_t sign_extended(int32_t value) { return static_cast<uint64_t>(int64_t{value}); }

// The voltage without load, from the curve of a battery. The constants have single precision, the calculation has
// double.
int on_curve(int voltage, int current, int cells, float power, float scale) {
  if (voltage < 1) return voltage;
  const double factor = std::max(cells, 1);
  const double magnitude = std::pow(std::fabs(static_cast<double>(current)), static_cast<double>(power));
  const double drop = (current >= 0 ? factor : -factor) * static_cast<double>(scale) * magnitude;
  return kvrn::add_i32(voltage, kvrn::truncated_i32(drop));
}

}  // namespace

int read_lcm_battery_capacity_mah() {
  Settings settings;
  const bool changed = configuration_changed();
  if (loaded.capacity_mah == 0 || changed)
    loaded.capacity_mah = kvrn::mul_i32(settings.number("capacity", default_capacity_ah), 1000);
  const auto capacity_ah = static_cast<uint32_t>(loaded.capacity_mah / 1000);
  const auto data = kvrn::read_battery_data(lead_acid_psu);
  if (!data || data->charge_mah < 0) return loaded.capacity_mah;
  if (loaded.exponent == 0.0F || changed) loaded.exponent = exponent_of(settings, capacity_ah);
  if (loaded.reference_ma == 0 || changed) {
    const auto hours = static_cast<uint32_t>(settings.number("capacity_time", 0));
    loaded.reference_ma = calibration_ma(hours, capacity_ah);
  }
  const uint64_t amount = corrected(sign_extended(data->charge_mah), sign_extended(data->current_ma),
                                    loaded.reference_ma, static_cast<double>(loaded.exponent));
  return kvrn::wrap_i32(static_cast<int64_t>(amount));
}

double get_bat_peukert_ex(uint32_t capacity_ah, int fixed) KVRN_DOOR(peukert_of);

uint32_t get_calib_current_from_Ah(uint32_t hours, uint32_t capacity_ah) KVRN_DOOR(calibration_ma);

uint64_t apply_peukert_ex(uint64_t amount, uint64_t current, uint64_t reference, double exponent)
    KVRN_DOOR(corrected_freely);

uint64_t apply_peukert(uint64_t amount, uint64_t current, uint64_t reference, double exponent) KVRN_DOOR(corrected);

int getVoltageOpenCircuit(int voltage, int current, int resistance, int cells) {
  if (resistance == 0) return on_curve(voltage, current, cells, 0.68F, 1.83F);
  const float drop = static_cast<float>(current) / 1000 * static_cast<float>(resistance);
  return kvrn::truncated_i32(static_cast<double>(drop + static_cast<float>(voltage)));
}

int getVoltageOpenCircuitLi(int voltage, int current) { return on_curve(voltage, current, 1, 0.93F, 0.444F); }
