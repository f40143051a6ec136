// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <kvrn/kvrn.h>

#include "sim/device.hpp"

extern "C" const kvrn_board_record* __wrap_kvrn_inner_board() {  // NOLINT(bugprone-reserved-identifier): the linker's
  static const kvrn_board_record board = [] {
    kvrn_board_record record{};
    record.system_id = 0xEE7E;
    return record;
  }();
  return &board;
}

namespace {

void add_battery(kvrn::sim::Device& device, int bus, int address, unsigned voltage_mv) {
  for (const auto& [reg, word] : {std::pair{0x16, 0x60U},
                                  {0x09, voltage_mv},
                                  {0x0A, 0U},
                                  {0x08, 2981U},
                                  {0x12, 1U},
                                  {0x13, 1U},
                                  {0x17, 7U},
                                  {0x0F, 50U},
                                  {0x10, 100U},
                                  {0x18, 110U},
                                  {0x03, 0U}})
    device.i2c(bus, address, reg, word);
  device.i2c(bus, address, 0x00, 0);
}

}  // namespace

TEST(TrialPlatform, IsOneRow) {
  kvrn::sim::Device device("generic");
  device.gpio(150, 0);
  device.gpio(151, 0);
  device.gpio(152, 1);
  device.gpio(112, 1);
  add_battery(device, 7, 0x0C, 24000);
  add_battery(device, 8, 0x0D, 25000);
  psu_info psus[KVRN_PSU_MAX]{};
  ASSERT_EQ(psu_info_get_all(psus, nullptr), 3);
  EXPECT_EQ(psu_info_ac_connected(), 1);
  EXPECT_EQ(is_ac_connected(1), 1);  // any other number is the last input
  EXPECT_EQ(psu_get_type(1), KVRN_PSU_TYPE_BATTERY);
  EXPECT_EQ(psus[1].voltage_mv, 24000);
  EXPECT_EQ(psus[2].voltage_mv, 25000);
  EXPECT_EQ(psus[1].status & KVRN_PSU_STATUS_CHARGER, KVRN_PSU_STATUS_CHARGER);
  EXPECT_EQ(psus[2].status & KVRN_PSU_STATUS_CHARGER, 0);
  EXPECT_EQ(psus[2].max_charge_power_mw, 5000U);
  EXPECT_EQ(get_max_power(psus), 60000);  // one input, and the line that says a battery helps is off
  EXPECT_EQ(psu_set_charge(1, 0), 0);
  EXPECT_EQ(device.gpio(151), 1);
  EXPECT_EQ(psu_set_charge(0, 0), 0);  // an input has no charger
  device.gpio(150, 1);
  EXPECT_EQ(psu_info_ac_connected(), 0);
}
