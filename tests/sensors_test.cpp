// SPDX-License-Identifier: MIT
#include "snmp/sensors.hpp"

#include "tests/device.hpp"

using Summary = kvrnpp::Owned<sensors_info, sensors_info_free>;

TEST(SensorSummary, FilesAddWhatTheySayToTheReadings) {
  Device device("three-source");
  device.remove("/tmp/.psu_data_stable");
  const Summary plain(sensors_info_get(0));
  const Summary with_board(sensors_info_get(1));
  for (const int32_t temp : plain->board_temp) EXPECT_EQ(temp, 0);
  for (const int32_t temp : with_board->board_temp) EXPECT_EQ(temp, -127);
  EXPECT_EQ(plain->psu[0].supply_vout_mv, 54000);
  EXPECT_EQ(plain->psu[2].voltage_mv, 51900);
  EXPECT_EQ(plain->psu[3].status, 0);
  EXPECT_EQ(plain->output_count, 0);
  EXPECT_EQ(bytes_of(plain->output), std::string(sizeof plain->output, '\0'));
  EXPECT_EQ(plain->power_meter + plain->locate_led + plain->psu_data_stable, 0);
  sensors_info_free(nullptr);
  device.file("/tmp/.power_meter", "4294967295\n");
  device.file("/tmp/.led-status-loc", "");
  device.file("/tmp/.psu_data_stable", "0");
  const Summary flags(sensors_info_get(0));
  EXPECT_EQ(flags->power_meter, -1);
  EXPECT_EQ(flags->locate_led, 1);
  EXPECT_EQ(flags->psu_data_stable, 1);
}

TEST(SensorSummary, AnySourceFitsTheBlock) {
  Device device("three-source");
  output_status records[8]{};
  for (int i = 0; i < 8; ++i) records[i].current_ma = i + 1;
  for (const int count : {-3, 0, 2, 3, 8}) {
    OwnSource<output_view> own{.view = {records, count, 0}};
    const Summary info(sensors_info_get_ex(0, &own.source, nullptr));
    EXPECT_EQ(info->output_count, count);
    for (int i = 0; i < KVRN_OUTPUT_MAX; ++i) {
      const bool there = i < count;
      EXPECT_EQ(info->output[i].current_ma, there ? i + 1 : 0) << count;
      EXPECT_EQ(info->output[i].max_power, there ? 250000000 : 0) << count;
    }
    EXPECT_EQ(info->locate_led, 0);  // nothing was written behind the entries
  }
  cache_source silent{};
  const Summary info(sensors_info_get_ex(0, &silent, &silent));
  EXPECT_EQ(info->output_count, 0);
  EXPECT_EQ(info->psu[0].supply_vout_mv, 54000);  // the hardware
  // No board has temperatures of its own.
  int32_t word = 7;
  int32_t* temps = &word;
  int count = 7;
  EXPECT_EQ(getBoardTemps(&temps, &count), 0);
  EXPECT_EQ(temps, nullptr);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(getBoardTemps(nullptr, &count), -1);
}

TEST(Module, AProgramWithoutHostFunctionsPublishesNothing) {
  Device device("four-source");
  device.trace(true);
  EXPECT_EQ(module.update(nullptr), -1);
  EXPECT_EQ(update_kvrn_table(nullptr, 1), -1);
  EXPECT_EQ(device.trace(), "");
}
