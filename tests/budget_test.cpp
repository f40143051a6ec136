// SPDX-License-Identifier: MIT
#include "tests/device.hpp"

namespace {

// Records of usable sources on the three-source board.
struct Sources {
  psu_info psus[KVRN_PSU_MAX]{};
  Sources(int inputs, int batteries) {
    psus[0].type = psus[1].type = KVRN_PSU_TYPE_INPUT;
    psus[2].type = KVRN_PSU_TYPE_BATTERY;
    for (int i = 0; i < inputs; ++i) psus[i].status = KVRN_PSU_STATUS_USABLE;
    if (batteries > 0) psus[2].status = KVRN_PSU_STATUS_USABLE;
    psus[3] = psus[2];  // beyond the board's count
    psus[3].status = KVRN_PSU_STATUS_USABLE;
  }
};

}  // namespace

TEST(Budget, FiguresFollowSourcesAndTheAssistLine) {
  Device device("three-source");
  const std::tuple<int, int, int, int, int> cases[] = {
      {0, 0, 0, 0, 480000}, {1, 0, 1, 0, 240000}, {1, 1, 1, 0, 480000},  {1, 1, 1, 1, 240000},
      {1, 1, 0, 0, 240000}, {2, 0, 0, 1, 480000}, {1, -1, 1, 0, 240000}, {-1, 0, 0, 0, 480000}};
  for (const auto& [inputs, batteries, count_battery, assist_line, expected] : cases) {
    device.gpio(112, assist_line);
    EXPECT_EQ(psu_get_max_power_mW(inputs, batteries, count_battery), expected)
        << inputs << batteries << count_battery << assist_line;
    if (inputs < 0 || batteries < 0) continue;
    const Sources sources(inputs, batteries);
    EXPECT_EQ(get_max_power_ex(sources.psus, count_battery), expected);
    EXPECT_EQ(get_max_power_single_ex(sources.psus, count_battery), std::min(expected, 250000));
  }
  device.gpio_busy(112, true);
  EXPECT_EQ(psu_get_max_power_mW(1, 1, 1), 240000);  // a line that cannot be read is no help
  device.gpio_busy(112, false);
  device.gpio(112, 0);
  EXPECT_EQ(get_max_power(Sources(1, 1).psus), 480000);
  EXPECT_EQ(psu_get_max_power_single_mW(1, 1), 250000);
  EXPECT_EQ(psu_get_max_power_single_mW(1, 0), 240000);
  EXPECT_EQ(get_max_power(nullptr), 480000);
  // What is usable is read, or fixed.
  EXPECT_EQ(get_max_usable_power(0), 480000);
  device.gpio(211, 1);
  device.gpio(112, 1);
  EXPECT_EQ(get_max_usable_power(0), 240000);
  EXPECT_EQ(get_max_usable_power(1), 250000);
}

TEST(OutputPower, ComesFromTheSourceThenTheCacheThenTheMonitors) {
  Device device("three-source");
  load_output(device, 1, "50000", "1000");
  load_output(device, 2, "60000", "1000");
  EXPECT_EQ(get_output_power(1), 50000);
  EXPECT_EQ(get_output_power(2), 60000);
  EXPECT_EQ(get_output_power(0), 110000);
  EXPECT_EQ(get_output_power(4), 0);

  kvrn_output_image image{};
  image.records[0].power_uw = 1234567;
  image.records[2].power_uw = -1999;
  device.file("/tmp/.output_cache", bytes_of(image));
  EXPECT_EQ(get_output_power(0), 1232);
  EXPECT_EQ(get_output_power(3), -1);  // truncated towards zero
  for (const int none : {4, INT_MAX, -1, INT_MIN}) EXPECT_EQ(get_output_power(none), 0) << none;

  output_status records[5];
  for (auto& record : records) record.power_uw = 2000000000;
  OwnSource<output_view> own{.view = {records, 2, 0}};
  EXPECT_EQ(get_output_power_ex(3, &own.source), 0);
  EXPECT_EQ(get_output_power_ex(2, &own.source), 2000000);
  EXPECT_EQ(get_output_power_ex(0, &own.source), -294967);  // the sum wraps
  own.view.count = 5;
  EXPECT_EQ(get_output_power_ex(5, &own.source), 2000000);
  own.view = {};
  EXPECT_EQ(get_output_power_ex(1, &own.source), 50000);  // the cache is passed over
}

TEST(Charging, LinesFollowPsuAndCurrent) {
  Device device("four-source");
  for (const auto& [psu, line_a, line_b] :
       {std::tuple{2, 108U, 113U}, {3, 207U, 213U}, {0, 207U, 213U}, {INT_MIN, 207U, 213U}}) {
    const int levels[][2] = {{0, 0}, {1, 0}, {0, 1}};
    for (const int index : {1, 2, 0}) {
      EXPECT_EQ(psu_set_charging_current(psu, index), 0);
      EXPECT_EQ(device.gpio(line_a), levels[index][0]) << psu << ' ' << index;
      EXPECT_EQ(device.gpio(line_b), levels[index][1]) << psu << ' ' << index;
    }
    device.trace(true);
    for (const int index : {3, 4, 5, 100, -1, INT_MIN, INT_MAX}) EXPECT_EQ(psu_set_charging_current(psu, index), 0);
    EXPECT_EQ(device.trace(), "");
    device.trace(false);
  }
  device.gpio_busy(213, true);
  EXPECT_EQ(psu_set_charging_current(3, 1), -1);  // the last line's result
  device.gpio_busy(213, false);
  device.gpio_busy(207, true);
  EXPECT_EQ(psu_set_charging_current(3, 0), 0);
  psu_get_charging_options(2, nullptr);
}

TEST(Charging, EnableDrivesTheDisableLine) {
  Device device("four-source");
  EXPECT_EQ(psu_set_charge(3, 0), 0);
  EXPECT_EQ(device.gpio(115), 1);
  EXPECT_EQ(device.gpio(109), 0);
  EXPECT_EQ(psu_set_charge(3, 5), 0);
  EXPECT_EQ(device.gpio(115), 0);
  EXPECT_EQ(psu_set_charge(7, 0), 0);
  EXPECT_EQ(device.gpio(109), 1);
  EXPECT_EQ(psu_set_charge(2, 1), 0);
  EXPECT_EQ(device.gpio(109), 0);
  device.gpio_busy(109, true);
  EXPECT_EQ(psu_set_charge(2, 0), -1);
  for (const int input : {1, 0, -1, INT_MIN}) EXPECT_EQ(psu_set_charge(input, 0), 0);
  EXPECT_EQ(psu_is_enabled(), 1);
  EXPECT_EQ(psu_set_enabled(), 0);
}
