// SPDX-License-Identifier: MIT
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <set>

#include "tests/device.hpp"

namespace {

// The board's record is shared and read-only for callers; a test gives its ports PoE.
void give_poe(unsigned port, uint8_t line) {
  const_cast<kvrn_board_record*>(board_identify())->eth[port].poe_gpio = line;
}

void check_lines(const char* profile, int output, const std::array<uint8_t, 3>& expected) {
  const Device device(profile);
  std::array<uint8_t, 3> lines{9, 9, 9};
  uint32_t level = 9;
  get_dc_gpio(output, lines.data(), &level);
  get_dc_gpio(output, nullptr, nullptr);
  EXPECT_EQ(lines, expected) << profile << ' ' << output;
  EXPECT_EQ(level, 0U);
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

TEST(Outputs, LineMapFollowsTheBoard) {
  in_process([] { check_lines("three-source", 0, {111, 201, 202}); });
  in_process([] { check_lines("three-source", 3, {202}); });
  in_process([] { check_lines("three-source", 4, {}); });
  in_process([] { check_lines("three-source", -1, {}); });
  in_process([] { check_lines("four-source", 1, {111}); });
  in_process([] { check_lines("four-source", 2, {}); });
  in_process([] { check_lines("generic", 4000, {111}); });
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
  const struct {
    const char* path;
    int (*get)();
    int absent, garbage;
  } flags[] = {
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
  const std::pair<std::string, int> contents[] = {{"7", 7},
                                                  {"-2\n", -2},
                                                  {" \t\n5 6", 5},
                                                  {"3x", 3},
                                                  {"9999999999999", INT_MAX},
                                                  {"-9999999999999", INT_MIN},
                                                  {"4" + std::string(100000, ' '), 4}};
  const std::string garbage[] = {"", "x", "-", std::string("\0001", 2), std::string(100000, ' ') + "1", "\xFF\xFE"};
  for (const auto& flag : flags) {
    EXPECT_EQ(flag.get(), flag.absent) << flag.path;
    for (const auto& [content, value] : contents) {
      device.file(flag.path, content);
      EXPECT_EQ(flag.get(), value) << flag.path << ' ' << value;
    }
    for (const std::string& content : garbage) {
      device.file(flag.path, content);
      EXPECT_EQ(flag.get(), flag.garbage) << flag.path;
    }
    device.remove(flag.path);
    ASSERT_EQ(::mkfifo(device.path(flag.path).c_str(), 0600), 0);
    EXPECT_EQ(flag.get(), flag.garbage) << flag.path << " as a FIFO, without waiting";
    device.remove(flag.path);
    std::filesystem::create_directories(device.path(flag.path));
    EXPECT_EQ(flag.get(), flag.garbage) << flag.path << " as a folder";
    std::filesystem::remove(device.path(flag.path));
  }
}

TEST(Flags, AFileThatIsReplacedDuringTheReadIsTheOldOneOrTheNew) {
  Device device("three-source");
  const std::string flag = device.path("/tmp/.overload_check");
  write_text(flag, "1");
  const pid_t writer = ::fork();
  if (writer == 0) {
    for (const char* text = "-2147483648";; text = *text == '1' ? "-2147483648" : "1") {
      write_text(flag + ".new", text);
      std::filesystem::rename(flag + ".new", flag);
    }
  }
  std::set<int> seen;
  for (int i = 0; i < 5000 || (seen.size() < 2 && i < 1000000); ++i) seen.insert(get_overload_status());
  ::kill(writer, SIGKILL);
  ::waitpid(writer, nullptr, 0);
  EXPECT_EQ(seen, (std::set{1, INT_MIN}));
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
