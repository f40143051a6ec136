// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>

#include "tests/device.hpp"

namespace {

constexpr const char* record_file = "/etc/persistent/battery_data";
constexpr const char* parameter_file = "/etc/persistent/battery_data2";

void put(std::string& bytes, std::size_t offset, uint32_t word) {
  for (std::size_t i = 0; i < 4; ++i) bytes[offset + i] = static_cast<char>(word >> (24 - 8 * i));
}

// "/etc/persistent/battery_data": 4 bytes of version, then the record.
std::string record(uint32_t version, uint32_t flags, int32_t charge, int32_t current) {
  std::string bytes(132, '\x11');
  put(bytes, 0, version);
  put(bytes, 4 + 4, flags);
  put(bytes, 4 + 112, static_cast<uint32_t>(charge));
  put(bytes, 4 + 116, static_cast<uint32_t>(current));
  return bytes;
}

std::string parameters(uint32_t version, int32_t resistance) {
  std::string bytes(61, '\x22');
  put(bytes, 0, version);
  put(bytes, 4, static_cast<uint32_t>(resistance));
  return bytes;
}

// A word whose file ends before it or in it: what is not there is 0.
int32_t cut_word(uint32_t word, std::size_t length, std::size_t offset) {
  const std::size_t there = length <= offset ? 0 : std::min<std::size_t>(length - offset, 4);
  return static_cast<int32_t>(there == 0 ? 0 : word & ~0U << (32 - 8 * there));
}

// The result, the flags, the charge and the current, each 9 where it was not written.
using Figures = std::tuple<int, uint32_t, int32_t, int32_t>;
Figures figures(int psu) {
  Figures read{0, 9, 9, 9};
  std::get<0>(read) = read_battery_flags_v2(psu, &std::get<1>(read), &std::get<2>(read), &std::get<3>(read));
  return read;
}

}  // namespace

TEST(BatteryFiles, NamesCarryTheBattery) {
  EXPECT_STREQ(get_filename_bat_psu_id("/a", 0), "/a");
  EXPECT_STREQ(get_filename_bat_psu_id("/a", INT_MIN), "/a");
  const char* name = get_filename_bat_psu_id("/a", 1);
  EXPECT_EQ(read_battery_calibrating(3, nullptr), 0);
  EXPECT_STREQ(name, "/a_1");  // the other functions leave the buffer alone
  EXPECT_STREQ(get_filename_bat_psu_id("/a", INT_MAX), "/a_2147483647");
  EXPECT_STREQ(get_filename_bat_psu_id(std::string(600, 'x').c_str(), 1), "");
  EXPECT_EQ(get_filename_bat_psu_id(nullptr, 1), nullptr);
}

TEST(BatteryFiles, ChargeIsReadInUpToThreeTries) {
  Device device("four-source");
  const std::tuple<const char*, int, std::tuple<int, int, int>> cases[] = {
      {"57 3600 1", 57, {3600, 1, -1}},     {"57 3600 1 4", 57, {3600, 1, 4}},
      {" -5\n\t-6 +7 8 9", -5, {-6, 7, 8}}, {"9999999999 1 2", INT_MAX, {1, 2, -1}},
      {"57 3600", -2, {3600, 99, -1}},      {"x", -2, {99, 99, -1}},
      {nullptr, -2, {99, 99, 99}}};
  for (const auto& [text, charge, rest] : cases) {
    device.remove("/tmp/.battery_info");
    if (text != nullptr) device.file("/tmp/.battery_info", text);
    int32_t read[3] = {99, 99, 99};
    const int64_t start = get_timestamp_mono_ms();
    EXPECT_EQ(get_battery_data_v2(2, &read[0], &read[1], &read[2]), charge);
    EXPECT_EQ(get_timestamp_mono_ms() - start >= 599, charge == -2);
    EXPECT_EQ(std::tuple(read[0], read[1], read[2]), rest) << text;
  }
  device.file("/tmp/.battery_info_1", "12 1 1");
  EXPECT_EQ(get_battery_data(3, nullptr, nullptr), 12);
}

TEST(BatteryFiles, FlagsAndFiguresFollowTheCharger) {
  Device device("four-source");
  const std::tuple<uint32_t, const char*, uint32_t, int32_t, int32_t> cases[] = {
      {0x1B4, nullptr, 0x1B4, 7000, 900}, {0x1B5, "1", 0x1B5, -1, 900},    {0x30, "0", 0, -1, -1},
      {0x1B5, "-3", 0x185, -1, -1},       {0x10, "text", 0x10, 7000, 900}, {0x80000000, "", 0x80000000, -1, 900}};
  for (const auto& [psu, suffix, path] :
       {std::tuple{2, "", "/tmp/.batt_ch_status"}, {3, "_1", "/tmp/.batt_li_ch_status"}}) {
    for (const auto& [stored, charger, expected, wanted_charge, wanted_current] : cases) {
      device.remove(path);
      if (charger != nullptr) device.file(path, charger);
      device.file(record_file + std::string(suffix), record(2, stored, 7000, 900));
      EXPECT_EQ(figures(psu), (Figures{1, expected, wanted_charge, wanted_current})) << psu << ' ' << stored;
    }
  }
  EXPECT_EQ(read_battery_flags(2, nullptr, nullptr), 1);
  EXPECT_EQ(is_battery_error_flag(0x1B4), 0);
  EXPECT_EQ(is_battery_error_flag(0x200), 1);
}

TEST(BatteryFiles, ARecordMayBeCutAnywhere) {
  Device device("four-source");
  const std::string whole = record(2, 0x04, 0x01020304, 0x05060708);
  for (std::size_t length = 0; length <= whole.size() + 1; ++length) {
    device.file(record_file, (whole + "x").substr(0, length));
    const Figures cut{1, length < 12 ? 0 : 4, cut_word(0x01020304, length, 116), cut_word(0x05060708, length, 120)};
    EXPECT_EQ(figures(2), length > 4 ? cut : Figures(0, 9, 9, 9)) << length;
  }
}

TEST(BatteryFiles, AtMostOneDescriptorStaysOpen) {
  Device device("four-source");
  device.remove(record_file);
  EXPECT_EQ(read_battery_flags(2, nullptr, nullptr), 0);
  const auto before = open_descriptors();
  for (int i = 0; i < 20; ++i) {
    uint32_t flags = 9;
    for (const std::string& bytes : {record(3, 0, 1, 1), std::string(3, '\0'), std::string()}) {
      device.file(record_file, bytes);
      EXPECT_EQ(read_battery_flags(2, &flags, nullptr), 0);
    }
    EXPECT_EQ(flags, 9U);
    device.file(parameter_file, parameters(2, 5));
    EXPECT_EQ(get_battery_internal_resistance(2), 0);
    EXPECT_FALSE(std::filesystem::exists(device.path(parameter_file)));
  }
  EXPECT_EQ(open_descriptors().size(), before.size() + 1);
  EXPECT_TRUE(std::filesystem::exists(device.path(record_file)));  // only the other file is ever deleted
}

TEST(BatteryFiles, ResistanceIsReadAgainWhenTheFileChanges) {
  Device device("four-source");
  const auto resistance_of = [&device](const std::string& bytes, time_t mtime) {
    device.file(parameter_file, bytes);
    const timespec times[2] = {{mtime, 0}, {mtime, 0}};
    ::utimensat(AT_FDCWD, device.path(parameter_file).c_str(), times, 0);
    return get_battery_internal_resistance(2);
  };
  EXPECT_EQ(get_battery_internal_resistance(2), 0);
  EXPECT_EQ(resistance_of(parameters(1, -77), 1000), -77);
  EXPECT_EQ(resistance_of(parameters(1, 88), 1000), -77);
  EXPECT_EQ(resistance_of(parameters(1, 88), 1001), 88);
  EXPECT_EQ(get_battery_internal_resistance(3), 88);                  // no file: one value for all batteries
  EXPECT_EQ(resistance_of(parameters(1, 99).substr(0, 4), 1002), 0);  // nothing there, and the time is not kept
  for (std::size_t length = 5; length <= 61; ++length)
    EXPECT_EQ(resistance_of(parameters(1, 0x01020304).substr(0, length), static_cast<time_t>(2000 + length)),
              cut_word(0x01020304, length, 4))
        << length;
  EXPECT_EQ(resistance_of(parameters(1, 5).substr(0, 3), 3000), 0);
  EXPECT_FALSE(std::filesystem::exists(device.path(parameter_file)));
}

TEST(BatteryFiles, CalibrationNeedsBothNumbers) {
  Device device("four-source");
  int32_t percentage = 9;
  for (const char* text : {"", "5 -", "-"}) {
    device.file("/tmp/.calibrating", text);
    EXPECT_EQ(read_battery_calibrating(2, &percentage), 0) << text;
    EXPECT_EQ(percentage, 100) << text;
  }
  device.file("/tmp/.calibrating_1", "5 -40");
  EXPECT_EQ(read_battery_calibrating(3, &percentage), 5);
  EXPECT_EQ(percentage, -40);
  EXPECT_EQ(read_battery_calibrating(3, nullptr), 5);
}

TEST(Capacity, ExponentAndReferenceFollowTheCapacity) {
  const std::tuple<uint32_t, double, uint32_t> cases[] = {
      {0, 1.21, 0},     {7, 1.21, 350},   {8, 1.2054545, 400}, {20, 1.1509091, 1000},    {30, 1.1054545, 1500},
      {40, 1.06, 4000}, {95, 1.05, 9500}, {150, 1.04, 15000},  {5000000, 1.04, 70503270}};
  for (const auto& [ah, exponent, reference] : cases) {
    EXPECT_NEAR(get_bat_peukert_ex(ah, 0), exponent, 1e-6) << ah;
    EXPECT_EQ(get_calib_current_from_Ah(0, ah), reference) << ah;
  }
  EXPECT_EQ(get_bat_peukert_ex(20, -1), 1.01);
  EXPECT_EQ(get_calib_current_from_Ah(5, 20), 4000U);
}

TEST(Capacity, PeukertsLawClampsAndTruncates) {
  EXPECT_EQ(apply_peukert_ex(1000, 2000, 1000, 1.5), 1414U);
  EXPECT_EQ(apply_peukert_ex(1000, 500, 1000, 1.5), 707U);
  EXPECT_EQ(apply_peukert(1000, 500, 1000, 1.5), 950U);
  EXPECT_EQ(apply_peukert(1000, 1000, 1000, 1.3), 1000U);
  EXPECT_EQ(apply_peukert(1000, 7, 0, 1.3), 1000U);
  EXPECT_EQ(apply_peukert(1000, 7, 9, 0.99), 1000U);
  EXPECT_EQ(apply_peukert(1000, 0, 9, 1.0), 1000U);
  EXPECT_EQ(apply_peukert_ex(UINT64_MAX, UINT64_MAX, 1, 9.0), UINT64_MAX);
  EXPECT_EQ(apply_peukert_ex(0, UINT64_MAX, 1, 1e6), 0U);  // 0 x infinity
}

TEST(Capacity, OpenCircuitVoltageByResistanceOrCurve) {
  const std::tuple<int, int, int, int, int> cases[] = {
      {12000, 1500, 40, 6, 12060}, {12000, -1500, 40, 6, 11940}, {INT_MAX, INT_MAX, INT_MAX, 1, INT_MAX},
      {0, 1000, 0, 6, 0},          {-5, 1000, 0, 6, -5},         {12000, 1000, 0, -3, 12200},  // 1.83 x 1000^0.68
      {12000, -1000, 0, 1, 11800}};
  for (const auto& [voltage, current, resistance, cells, expected] : cases)
    EXPECT_EQ(getVoltageOpenCircuit(voltage, current, resistance, cells), expected) << voltage << ' ' << current;
  EXPECT_NEAR(getVoltageOpenCircuit(12000, 1000, 0, 6), 12000 + 6 * 200, 6);
  EXPECT_EQ(getVoltageOpenCircuitLi(13000, 2000), 13521);
  EXPECT_LT(getVoltageOpenCircuitLi(13000, INT_MIN), -200000000);
}

TEST(Capacity, FollowsConfigurationAndRecord) {
  Device device("four-source");
  const std::tuple<const char*, uint32_t, int32_t, int32_t> cases[] = {
      {"", 1, 4000, 20000},  // a record with an error does not count
      {"capacity=40", 1, 4000, 40000},
      {nullptr, 0, 4000, 30000},  // the reference current
      {nullptr, 0, 8000, 31273},
      {nullptr, 0, 10, 28500},
      {"capacity=40\npsu.monitor.battery.peukert=1500\npsu.monitor.battery.capacity_time=20", 0, 8000,
       60000},  // (8 A / 2 A) ^ 0.5
      {"peukert=900", 0, 8000, 30000},
      {"capacity=2147484", 1, 8000, -2147483296}};  // wraps as on the device
  std::size_t changes = 0;
  for (const auto& [settings, flags, current, expected] : cases) {
    // Each configuration with a size of its own, so that the next call sees it changed.
    if (settings != nullptr)
      device.file("/tmp/system.cfg",
                  "psu.monitor.battery." + std::string(settings) + '\n' + std::string(++changes, '#') + '\n');
    device.file(record_file, record(2, flags, 30000, current));
    EXPECT_EQ(read_lcm_battery_capacity_mah(), expected) << expected;
  }
  for (const char* path : {record_file, "/tmp/system.cfg"}) device.remove(path);
  EXPECT_EQ(read_lcm_battery_capacity_mah(), 20000);
}
