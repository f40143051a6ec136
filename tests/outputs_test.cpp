// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include "tests/device.hpp"

namespace {

// The board's record is shared and read-only for callers; a test gives its ports PoE.
void give_poe(unsigned port, uint8_t line) {
  const_cast<kvrn_board_record*>(board_identify())->eth[port].poe_gpio = line;
}

}  // namespace

TEST(Outputs, AreOnWhenTheirLineReadsOneOrNothing) {
  Device device("three-source");
  const std::tuple<int, unsigned> cases[] = {{0, 111}, {1, 201}, {2, 160}};
  for (const auto& [output, line] : cases) {
    EXPECT_EQ(is_dc_out_enabled(output), 1) << output;
    device.gpio(line, 0);
    EXPECT_EQ(is_dc_out_enabled(output), 0) << output;
    device.gpio_busy(line, true);
    EXPECT_EQ(is_dc_out_enabled(output), 1) << output;
    device.gpio_busy(line, false);
  }
  for (const int unknown : {3, -1, INT_MIN, INT_MAX}) EXPECT_EQ(is_dc_out_enabled(unknown), 1) << unknown;
  get_dc_gpio(0, nullptr, nullptr);
}

TEST(Outputs, APoeLineKeepsOutputZeroOn) {
  Device device("four-source");
  device.gpio(111, 0);
  device.gpio(160, 1);
  give_poe(0, 160);
  EXPECT_EQ(is_dc_out_enabled(0), 1);
  device.gpio(160, 0);
  EXPECT_EQ(is_dc_out_enabled(0), 0);
  give_poe(0, 112);
  device.gpio(112, 1);
  EXPECT_EQ(is_dc_out_enabled(0), 0);  // the lines are collected once
}

TEST(Outputs, DcOutputAsksForTheNextNumberAndPoeByBitSeven) {
  Device device("three-source");
  EXPECT_EQ(dc_get_output(0), 1);
  device.gpio(111, 0);
  EXPECT_EQ(dc_get_output(0), 0);  // lines 201 and 202 are on: they are other outputs'
  EXPECT_EQ(dc_get_output(2), 1);
  device.gpio_busy(111, true);
  EXPECT_EQ(dc_get_output(0), 1);
  EXPECT_EQ(dc_get_output(127), 0);

  EXPECT_EQ(dc_get_output(-128), -1);
  give_poe(0, 160);
  device.file("/tmp/system.cfg", "netconf.1.devname=eth0\n");
  EXPECT_EQ(dc_get_output(-128), 1);  // interface 1
  device.gpio_busy(160, true);
  EXPECT_EQ(dc_get_output(-128), 255);
  EXPECT_EQ(dc_get_output(-127), -1);
}

TEST(Poe, LineComesFromTheConfiguredDeviceName) {
  Device device("three-source");
  EXPECT_EQ(get_poe_gpio(1), 0);
  EXPECT_EQ(get_poe_status(1), 0);
  give_poe(0, 77);
  give_poe(1, 78);
  auto* board = const_cast<kvrn_board_record*>(board_identify());
  board->eth_count = 2;
  board->eth[0].present = board->eth[1].present = 1;
  const std::tuple<const char*, int> cases[] = {{"eth0", 77}, {"eth1", 78}, {"eth2", 0}, {"eth0.5", 0},
                                                {"eth", 0},   {"ETH0", 0},  {"", 0},     {"eth00", 0}};
  for (const auto& [name, line] : cases) {
    device.file("/tmp/system.cfg", std::string("netconf.2.devname=") + name + '\n');
    EXPECT_EQ(get_poe_gpio(2), line) << name;
    EXPECT_EQ(get_poe_gpio(INT_MIN), 0);
  }
  device.file("/tmp/system.cfg", "netconf.2.devname=eth1\nnetconf.2.poe=enabled\nnetconf.3.poe=2\n");
  EXPECT_EQ(get_poe_status(2), 1);
  EXPECT_EQ(get_poe_status(3), 0);
  EXPECT_EQ(get_poe_status(-1), 0);
  board->eth[1].present = 0;
  EXPECT_EQ(get_poe_gpio(2), 0);
  board->eth[1].present = 1;
  board->eth_count = 1;
  EXPECT_EQ(get_poe_gpio(2), 0);
}

TEST(Flags, EveryFileReadsAsItsIntegerOrItsDefault) {
  Device device("three-source");
  // What each reads as without its file, and from a file without a number.
  const std::tuple<const char*, int (*)(), int, int> flags[] = {
      {"/tmp/.overload_check", get_overload_status, 0, 0},
      {"/tmp/.overload_check_1", [] { return get_overload_status_port(1); }, 0, 0},
      {"/tmp/.overload_check_-3", [] { return get_overload_status_port(-3); }, 0, 0},
      {"/tmp/.overload_req0", [] { return get_overload_flag(0); }, 1, 1},
      {"/tmp/.overload_req1", [] { return get_overload_flag(-9); }, 1, 1},
      {"/tmp/.overload_charging", insufficient_power_get, 0, 0},
      {"/tmp/.ac_outage_check", get_ac_outage_status, 0, 0},
      {"/tmp/.ac_outage_overload_check", ac_disabled_overload, 0, 0},
      {"/tmp/.battery_outage_check", get_battery_outage_status, 0, 0},
      {"/tmp/.dc-enabled2147483647", [] { return is_dc_out_cfg_enabled(INT_MAX); }, 2, 0},
      {"/tmp/.lv_active", get_lvmonitor_status, 0, 0},
      {"/tmp/.lv_1_active", [] { return get_lvmonitor_status_psu(1); }, 0, 0},
      {"/tmp/.lv_-2147483648_active", [] { return get_lvmonitor_status_psu(INT_MIN); }, 0, 0},
  };
  const std::pair<const char*, int> contents[] = {
      {"7", 7}, {" \t\n-2 6", -2}, {"3x", 3}, {"9999999999999", INT_MAX}, {"-9999999999999", INT_MIN}};
  const std::string garbage[] = {"", "-", std::string("\0001", 2), std::string(100000, ' ') + "1"};
  for (const auto& [path, get, without, unread] : flags) {
    EXPECT_EQ(get(), without) << path;
    for (const auto& [content, value] : contents) {
      device.file(path, content);
      EXPECT_EQ(get(), value) << path << ' ' << value;
    }
    for (const std::string& content : garbage) {
      device.file(path, content);
      EXPECT_EQ(get(), unread) << path;
    }
    device.remove(path);
    ASSERT_EQ(::mkfifo(device.path(path).c_str(), 0600), 0);
    EXPECT_EQ(get(), unread) << path << " as a FIFO, without waiting";
    device.remove(path);
    std::filesystem::create_directories(device.path(path));
    EXPECT_EQ(get(), unread) << path << " as a folder";
    std::filesystem::remove(device.path(path));
  }
}

TEST(Flags, SettersRewriteTheFileInPlace) {
  Device device("four-source");
  const auto text = [&device](const char* path) { return read_text(device.path(path)); };
  device.file("/tmp/.overload_charging", "a much longer text than the number");
  EXPECT_EQ(insufficient_power_set(-12), 1);
  EXPECT_EQ(text("/tmp/.overload_charging"), "-12");
  set_overload_flag(0, 5);
  set_overload_flag(2, 6);
  EXPECT_EQ(text("/tmp/.overload_req0") + text("/tmp/.overload_req1"), "56");
  EXPECT_EQ(set_dc_hwprotect_error(1, 3), 1);
  EXPECT_EQ(text("/tmp/.dc-problem1"), "3");
  EXPECT_EQ(get_dc_hwprotect_error(1), 1);
  EXPECT_EQ(get_overload_status_port(1), 2);
  EXPECT_EQ(get_overload_status(), 0);  // the board has output 0 alone
  EXPECT_EQ(set_dc_hwprotect_error(0, -3), 1);
  EXPECT_EQ(get_dc_hwprotect_error(0), 0);
  EXPECT_EQ(set_flag(0, 1), 1);
  EXPECT_EQ(text("/tmp/.dc-enabled0"), "1");
  std::filesystem::create_directories(device.path("/tmp/.dc-enabled7"));
  EXPECT_EQ(set_flag(7, 1), 0);
  std::filesystem::create_symlink("/dev/null", device.path("/tmp/.dc-enabled6"));
  std::filesystem::create_symlink(".dc-enabled0", device.path("/tmp/.dc-enabled5"));
  EXPECT_EQ(set_flag(6, 1) + set_flag(5, 9), 0);
  EXPECT_EQ(text("/tmp/.dc-enabled0"), "1");
}

TEST(Flags, ANearlyEmptyBatteryCountsAsLowVoltage) {
  Device device("four-source");
  const std::tuple<const char*, const char*, int> cases[] = {
      {"11 1 1", "0", 0}, {"10 1 1", "0", 2}, {"10 1 1", "1", 1}, {"-5 1 1", "", 2}, {"90 1 1", "-7", -7}};
  for (const auto& [charge, flag, expected] : cases) {
    device.file("/tmp/.battery_info_1", charge);
    device.file("/tmp/.lv_3_active", flag);
    EXPECT_EQ(get_lvmonitor_status_psu(3), expected) << charge << ' ' << flag;
  }
  EXPECT_EQ(get_lvmonitor_status_psu(1), 0);  // an input has no charge
  char name[64];
  EXPECT_STREQ(get_status_file(name, 3, "_x"), "/tmp/.lv_x_3_active");
  EXPECT_STREQ(get_status_file(name, -1, "_x"), "/tmp/.lv_x_active");
  EXPECT_EQ(is_battery_status_error_flag(0x14), 0);
  EXPECT_EQ(is_battery_status_error_flag(0x15), 1);
}
