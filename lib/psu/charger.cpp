// SPDX-License-Identifier: MIT
// The battery chargers: their currents, and the lines that select a current and enable a charger.
#include <kvrn/psu.h>

#include "board/platform.hpp"
#include "hw/gpio.hpp"

void psu_get_charging_options(int psu, uint32_t* currents) {
  if (currents == nullptr) return;
  for (int i = 0; i < KVRN_CHARGING_OPTIONS; ++i) currents[i] = 0;
  for (const kvrn::ChargingRow& row : *kvrn::platform().charger(psu).currents) {
    if (row.current_ma == 0) return;
    *currents++ = row.current_ma;
  }
}

int psu_set_charging_current(int psu, int index) {
  const kvrn::ChargingTable& table = *kvrn::platform().charger(psu).currents;
  if (index < 0 || static_cast<std::size_t>(index) >= table.size()) return 0;
  int result = 0;
  for (const kvrn::LineLevel& pair : table[static_cast<std::size_t>(index)].lines)
    if (pair.line != 0) result = kvrn::gpio::write(pair.line, pair.level) ? 0 : -1;
  return result;
}

int psu_set_charge(int psu, int on) {
  const kvrn::Platform& platform = kvrn::platform();
  if (psu < 0) return 0;
  const auto row = static_cast<std::size_t>(psu);
  if (row < platform.sources.size() && platform.sources[row].is_input()) return 0;
  return kvrn::gpio::write(platform.battery(psu, 2).charger.disable_line, on == 0 ? 1 : 0) ? 0 : -1;
}

int psu_is_enabled() { return 1; }

int psu_set_enabled() { return 0; }
