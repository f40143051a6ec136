// SPDX-License-Identifier: MIT

#include "tests/device.hpp"
#include "tests/golden.hpp"

namespace {

psu_info read_psu(int number) {
  psu_info record;
  std::memset(&record, 0xEE, sizeof record);
  EXPECT_EQ(psu_info_get_direct(&record, number), 0);
  return record;
}

bool has(uint8_t flags, int bit) { return (flags & bit) != 0; }

class Platform : public testing::TestWithParam<const char*> {};

}  // namespace

TEST_P(Platform, RulesAreGolden) {
  const Device device(GetParam());
  int outputs = 0;
  const char* const* names = get_dc_out_addrs(&outputs);
  std::ostringstream rules;
  rules << get_psu_count() << " sources, " << outputs << " outputs";
  for (int i = 0; names[i] != nullptr; ++i) rules << ' ' << names[i];
  rules << "\npower in mW: full " << psu_get_max_power_mW(2, 0, 0) << ", reduced " << psu_get_max_power_mW(1, 0, 0)
        << ", fixed " << get_max_usable_power(-1) << ", of a charger " << get_max_charging_power(2) << '\n';
  for (int psu = -1; psu <= KVRN_PSU_MAX; ++psu) {
    uint32_t currents[KVRN_CHARGING_OPTIONS] = {9, 9, 9, 9, 9};
    psu_get_charging_options(psu, currents);
    rules << "PSU " << psu << ": valid " << psu_id_valid(psu) << ", type " << psu_get_type(psu) << ", charging with";
    for (const uint32_t current : currents) rules << ' ' << current;
    rules << '\n';
  }
  for (int output = -1; output <= 5; ++output) {
    uint8_t lines[3] = {9, 9, 9};
    uint32_t level = 9;
    get_dc_gpio(output, lines, &level);
    rules << "output " << output << ": level " << level << " of";
    for (const int line : lines) rules << ' ' << line;
    rules << '\n';
  }
  expect_golden(std::string(GetParam()) + ".rules", rules.str());
}

TEST(Mains, FlagFileWinsOverTheActiveLowLine) {
  Device device("generic");
  const std::tuple<int, const char*, int> cases[] = {{0, nullptr, 1}, {1, nullptr, 0}, {0, "0", 0},
                                                     {1, "1", 1},     {0, "-1", 0},    {1, "2", 1},
                                                     {0, "", 1},      {0, "abc", 1},   {1, "abc", 0}};
  for (const auto& [level, flag, expected] : cases) {
    device.gpio(211, level);
    device.gpio(212, 1);
    device.remove("/tmp/.ac_on_status");
    if (flag != nullptr) device.file("/tmp/.ac_on_status", flag);
    EXPECT_EQ(is_ac_connected(0), expected) << level << ' ' << (flag ? flag : "none");
    EXPECT_EQ(psu_info_ac_connected(), expected);
  }
  device.gpio(212, 0);
  EXPECT_EQ(is_ac_connected(-5), 1);  // every non-zero number is input 1
  device.gpio_busy(212, true);
  EXPECT_EQ(is_ac_connected(1), 0);  // an unreadable line is no mains
}

TEST(Supply, ReadsTelemetryOnlyWhereTheSlotIsOccupiedAndMainsIsOn) {
  Device device("three-source");
  device.i2c_byte(2, 0x58, 0x8D, 255);
  psu_info psu = read_psu(0);
  EXPECT_EQ(psu.type, 1U);
  EXPECT_EQ(psu.status, KVRN_PSU_STATUS_FILLED | KVRN_PSU_STATUS_USABLE);
  EXPECT_EQ(psu.supply_status, KVRN_PSU_SUPPLY_TELEMETRY);
  EXPECT_EQ(psu.supply_vout_mv, 54000);
  EXPECT_EQ(psu.supply_iout_ma, 2100);
  EXPECT_EQ(psu.supply_temp_c, -127);
  device.i2c_byte(2, 0x58, 0x8D, 254);
  EXPECT_EQ(read_psu(0).supply_temp_c, -102);  // 154 in 8 bits

  device.trace(true);
  device.gpio(205, 1);
  psu = read_psu(0);
  EXPECT_EQ(psu.type, 0U);
  EXPECT_EQ(psu.status, 0x80);
  EXPECT_EQ(psu.supply_vout_mv, INT_MIN);
  EXPECT_EQ(device.trace().find("211"), std::string::npos);
  device.gpio_busy(205, true);
  EXPECT_EQ(read_psu(0).type, 1U);
  device.gpio_busy(205, false);
  device.gpio(205, 0);
  device.gpio(211, 1);
  EXPECT_EQ(read_psu(0).supply_status, 0);

  int temp = 7;
  device.i2c_byte(2, 0x58, 0x8D, 131);
  device.i2c_byte(8, 0x59, 0x8D, 140);
  EXPECT_EQ(get_psu_temp_info(0, &temp), 1);  // without mains too
  EXPECT_EQ(temp, 31);
  EXPECT_EQ(read_lcm_temperature(&temp), 1);
  EXPECT_EQ(temp, 40);
  device.i2c_byte(8, 0x59, 0x8D, 255);
  EXPECT_EQ(read_lcm_temperature(&temp), 1);
  EXPECT_EQ(temp, 31);
  device.i2c_refuse(2, 0x58, 0x8D, true);
  EXPECT_EQ(read_lcm_temperature(&temp), 0);
  EXPECT_EQ(temp, 31);
  EXPECT_EQ(read_lcm_temperature(nullptr), 0);
}

TEST(HwmonBattery, ChargingFollowsTheFileThenTheCurrent) {
  Device device("three-source");
  const std::tuple<const char*, const char*, bool, bool> cases[] = {
      {"-81", nullptr, true, false}, {"-80", nullptr, false, false}, {"-900", "-1", false, true},
      {"-900", "0", false, false},   {"500", "1", true, false},      {"-900", "text", true, false},
      {"500", "", false, false}};
  for (const auto& [current, file, charging, unknown] : cases) {
    device.hwmon("mon-battery", "curr1_input", current);
    device.remove("/tmp/.charging_status");
    if (file != nullptr) device.file("/tmp/.charging_status", file);
    const psu_info psu = read_psu(2);
    EXPECT_EQ(has(psu.battery_status, KVRN_PSU_BATTERY_CHARGING), charging) << current << ' ' << file;
    EXPECT_EQ(has(psu.battery_status, KVRN_PSU_BATTERY_CHARGE_UNKNOWN), unknown) << current;
    EXPECT_EQ(psu.current_ma, std::atoi(current));
  }
  device.gpio(109, 1);  // charging disabled
  EXPECT_FALSE(has(read_psu(2).status, KVRN_PSU_STATUS_CHARGER));
  device.file("/tmp/.batt_ch_status", "1");
  device.file("/tmp/.charging_status", "1");
  const psu_info psu = read_psu(2);
  EXPECT_TRUE(has(psu.status, KVRN_PSU_STATUS_CHARGER));
  EXPECT_FALSE(has(psu.battery_status, KVRN_PSU_BATTERY_CHARGING));  // the line still forbids it
}

TEST(HwmonBattery, AbsentBatteryHasNoVoltageAndUnknownMarkers) {
  Device device("four-source");
  device.gpio(100, 1);
  device.hwmon("mon-battery", "in0_input", "12345");
  psu_info psu = read_psu(2);
  EXPECT_EQ(psu.voltage_mv, 0);
  EXPECT_FALSE(has(psu.status, KVRN_PSU_STATUS_USABLE));
  EXPECT_EQ(psu.battery_kind, KVRN_PSU_BATTERY_HWMON);
  EXPECT_EQ(psu.battery_temp_c, -127);
  EXPECT_EQ(psu.charge_pct, KVRN_PSU_UNKNOWN_PCT);
  EXPECT_EQ(psu.manufacture_time, KVRN_PSU_UNKNOWN_TIME);
  EXPECT_EQ(psu.time_to_full_s, INT_MIN);
  EXPECT_EQ(psu.cell_count, 0U);
  device.file("/tmp/.batt_status", "1");
  psu = read_psu(2);
  EXPECT_EQ(psu.voltage_mv, 12345);
  EXPECT_TRUE(has(psu.status, KVRN_PSU_STATUS_USABLE));
}

TEST(SmartBattery, RecordIsCopiedFromTheFileWhileItIsFreshElseFromTheBus) {
  Device device("four-source");
  psu_info psu = read_psu(3);
  EXPECT_EQ(psu.voltage_mv, 25904);
  EXPECT_EQ(psu.smart_battery, 1U);
  EXPECT_EQ(psu.cell_count, 7U);
  EXPECT_EQ(psu.cell_mv[7], INT_MIN);
  kvrn_raw_battery_image image{};
  kvrn_sbs_battery_info& record = image.records[3];
  record.complete = 3;  // bit 0 counts
  record.charging = 1;
  record.voltage_mv = 24000;
  record.temp_c = 129;
  image.stamp = get_timestamp_mono();
  device.file("/tmp/.raw_battery_data", bytes_of(image));
  psu = read_psu(3);
  EXPECT_EQ(psu.voltage_mv, 24000);
  EXPECT_EQ(psu.battery_temp_c, -127);
  EXPECT_TRUE(has(psu.battery_status, KVRN_PSU_BATTERY_PRESENT));
  EXPECT_TRUE(has(psu.battery_status, KVRN_PSU_BATTERY_CHARGING));
  device.gpio(115, 1);
  EXPECT_FALSE(has(read_psu(3).battery_status, KVRN_PSU_BATTERY_CHARGING));
  device.gpio_busy(115, true);  // unreadable counts as 0
  EXPECT_TRUE(has(read_psu(3).battery_status, KVRN_PSU_BATTERY_CHARGING));
}

TEST(Batteries, HighestCurrentNeedsBothLinesLow) {
  Device device("four-source");
  const std::tuple<int, unsigned, unsigned> batteries[] = {{2, 108, 113}, {3, 207, 213}};
  for (const auto& [psu, first, second] : batteries)
    for (int levels = 0; levels < 4; ++levels) {
      device.gpio(first, levels & 1);
      device.gpio(second, levels >> 1);
      EXPECT_EQ(has(read_psu(psu).status, KVRN_PSU_STATUS_HIGH_CURRENT), levels == 0) << psu << levels;
    }
  device.gpio(108, 0);
  device.gpio(113, 0);
  device.gpio_busy(113, true);
  EXPECT_FALSE(has(read_psu(2).status, KVRN_PSU_STATUS_HIGH_CURRENT));
}

TEST(Readout, RefusesOtherNumbersAndLeavesNothingUninitialised) {
  Device device("three-source");
  psu_info psu;
  std::memset(&psu, 0xEE, sizeof psu);
  for (const int bad : {-1, 3, INT_MAX}) EXPECT_EQ(psu_info_get_direct(&psu, bad), -1);
  EXPECT_EQ(psu.id, 0xEEEEEEEE);
  EXPECT_EQ(psu_info_get_direct(nullptr, 0), -1);
  for (int number = 0; number < 3; ++number) {
    const std::string bytes = bytes_of(read_psu(number));
    for (const size_t at : {5, 6, 7, 12, 13, 14, 15, 19, 108, 111, 122, 123, 132, 135}) EXPECT_EQ(bytes[at], 0) << at;
  }

  device.hwmon("mon-battery", "curr1_input", "-450");
  EXPECT_EQ(get_battery_current(2), -450);
  EXPECT_EQ(get_battery_current(9), -450);
  EXPECT_EQ(get_battery_current(1), 0);
  device.hwmon("mon-battery", "curr1_input", "none");
  EXPECT_EQ(get_battery_current(2), 0);
  device.gpio(110, 0);
  EXPECT_EQ(get_chg_stat(), 0);
  device.gpio_busy(110, true);
  EXPECT_EQ(get_chg_stat(), 1);
  int value = 5;
  EXPECT_EQ(read_gpio(110, &value), -1);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(read_gpio(111 + 256, &value), 0);  // only the low 8 bits count
  EXPECT_EQ(value, 1);
  EXPECT_EQ(read_gpio(111, nullptr), 0);
}

// What a readout touches, and in which order.
TEST_P(Platform, DirectReadoutIsGolden) {
  Device device(GetParam());
  psu_info all[KVRN_PSU_MAX]{};
  const int count = get_psu_count();
  device.trace(true);
  for (int psu = 0; psu < count; ++psu) psu_info_get_direct(&all[psu], psu);
  expect_golden(std::string(GetParam()) + ".trace", device.trace());
  device.trace(true);
  psu_info_get_all(all, nullptr);
  EXPECT_EQ(device.trace().find("gpio 211 get"), device.trace().rfind("gpio 211 get")) << "once for all sources";
}

INSTANTIATE_TEST_SUITE_P(Boards, Platform, testing::Values("four-source", "three-source", "generic", "ar724x"));
