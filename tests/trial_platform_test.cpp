// SPDX-License-Identifier: MIT
#include "tests/device.hpp"

extern "C" const kvrn_board_record* __wrap_kvrn_inner_board() {  // NOLINT(bugprone-reserved-identifier): the linker's
  static const kvrn_board_record board = [] {
    kvrn_board_record record{};
    record.system_id = 0xEE7E;
    return record;
  }();
  return &board;
}

namespace {

void add_battery(Device& device, int bus, int address, unsigned voltage_mv) {
  for (const auto& [reg, word] : {std::pair{0x16, 0x60U}, {0x09, voltage_mv}, {0x00, 0U}})
    device.i2c(bus, address, reg, word);
}

}  // namespace

TEST(TrialPlatform, IsOneRow) {
  Device device("generic");
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
