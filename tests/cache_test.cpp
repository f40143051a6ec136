// SPDX-License-Identifier: MIT

#include "tests/device.hpp"
#include "tests/syslog.hpp"

namespace {

constexpr const char* psu_cache = "/tmp/.psu_info_cache";
constexpr const char* output_cache = "/tmp/.output_cache";
constexpr const char* raw_battery = "/tmp/.raw_battery_data";

kvrn_psu_info_image fresh_image() {
  kvrn_psu_info_image image{};
  for (uint32_t i = 0; i < KVRN_PSU_MAX; ++i) {
    image.records[i].id = i;
    image.records[i].voltage_mv = static_cast<int32_t>(1000 + i);
  }
  image.stamp = get_timestamp_mono();
  return image;
}

}  // namespace

TEST(PsuCache, AcceptsTenSecondsAndRefusesElevenSilently) {
  Device device("four-source");
  kvrn_psu_info_image image = fresh_image();
  const auto read_at = [&](int64_t stamp) {
    image.stamp = stamp;
    device.file(psu_cache, bytes_of(image));
    psu_info_view view{};
    const int read = get_psu_info_cache_data(&view);
    if (read != 0) {
      EXPECT_EQ(view.count, 4);
      EXPECT_EQ(view.records[2].voltage_mv, 1002);
      EXPECT_GT(view.fd, 0);
    }
    psu_info_cache_data_free(&view);
    EXPECT_EQ(view.records, nullptr);
    EXPECT_EQ(view.fd, 0);
    psu_info_cache_data_free(&view);
    return read;
  };
  for (const int age : {0, -5, 9}) EXPECT_EQ(read_at(get_timestamp_mono() - age), 1) << age;
  // Another second may begin between the stamp and the check.
  EXPECT_TRUE(read_at(get_timestamp_mono() - 10) == 1 || read_at(get_timestamp_mono() - 10) == 1);
  EXPECT_EQ(read_at(get_timestamp_mono() - 11), 0);
  if (get_timestamp_mono() > 9) {
    EXPECT_EQ(read_at(-1), 0) << "never refreshed";
  }
  // The two words of a stamp, one of them written.
  for (const int64_t half : {INT64_C(0xFFFFFFFF), get_timestamp_mono() | INT64_C(-1) << 32})
    EXPECT_EQ(read_at(half), 0) << half;
  EXPECT_EQ(logged, "");
}

TEST(Caches, RefuseEveryOtherFileWithTheirLogLine) {
  Device device("four-source");
  psu_info_view view{};
  output_view outputs{};
  EXPECT_EQ(get_psu_info_cache_data(&view), 0);
  EXPECT_EQ(get_output_cache_data(&outputs), 0);
  EXPECT_EQ(logged, "");  // a missing cache is no news
  const auto before = open_descriptors();
  for (const size_t size : {0U, 1U, 551U, 553U, 4096U}) {
    logged.clear();
    device.file(psu_cache, std::string(size, '\0'));
    EXPECT_EQ(get_psu_info_cache_data(&view), 0) << size;
    EXPECT_EQ(logged, std::to_string(LOG_INFO) + " PSU cache: Result file /tmp/.psu_info_cache is too short\n");
  }
  logged.clear();
  device.file(output_cache, std::string(79, '\0'));
  EXPECT_EQ(get_output_cache_data(&outputs), 0);
  EXPECT_EQ(logged, std::to_string(LOG_INFO) + " Output cache: Result file /tmp/.output_cache is too short\n");
  EXPECT_EQ(get_psu_info_cache_data(nullptr), 0);
  psu_info_cache_data_free(nullptr);
  output_cache_data_free(nullptr);
  EXPECT_EQ(open_descriptors(), before);
}

TEST(GetAll, PrefersTheCallersSourceAndReadsDirectlyWhenItFails) {
  Device device("generic");
  psu_info all[KVRN_PSU_MAX];
  std::memset(all, 0xEE, sizeof all);
  EXPECT_EQ(psu_info_get_all(all, nullptr), 2);  // from the hardware: only the board's
  EXPECT_EQ(all[1].id, 1U);
  EXPECT_EQ(all[2].id, 0xEEEEEEEE);
  EXPECT_EQ(psu_info_get_all(nullptr, nullptr), 0);
  device.file(psu_cache, bytes_of(fresh_image()));
  EXPECT_EQ(psu_info_get_all(all, nullptr), 2);
  EXPECT_EQ(all[3].voltage_mv, 1003);  // four records, whatever the count
  psu_info records[KVRN_PSU_MAX]{};
  records[0].voltage_mv = 777;
  OwnSource<psu_info_view> own{.view = {records, 3, 0}};
  EXPECT_EQ(psu_info_get_all(all, &own.source), 3);
  EXPECT_EQ(all[0].voltage_mv, 777);
  own.view = {};
  EXPECT_EQ(psu_info_get_all(all, &own.source), 2);
  EXPECT_EQ(all[0].type, static_cast<uint32_t>(KVRN_PSU_TYPE_INPUT));  // the cache is passed over
}

TEST(GetAll, LeavesNothingOpenAndNothingHalfRead) {
  Device device("generic");
  device.file(psu_cache, bytes_of(fresh_image()));
  psu_info all[KVRN_PSU_MAX]{};
  psu_info_get_all(all, nullptr);
  for (const int standard : {STDIN_FILENO, STDERR_FILENO}) ::close(standard);
  const auto before = open_descriptors();
  EXPECT_EQ(psu_info_get_all(all, nullptr), 2);
  OwnSource<psu_info_view> own;
  EXPECT_EQ(get_psu_info_cache_data(&own.view), 1);
  EXPECT_GT(own.view.fd, 2);  // no message goes into the image
  // The file is cut short while it is mapped.
  ASSERT_EQ(::truncate(device.path(psu_cache).c_str(), 543), 0);
  all[2] = {};
  EXPECT_EQ(psu_info_get_all(all, &own.source), 2);
  EXPECT_EQ(all[2].id, 0U);  // a part of the file is not delivered
  psu_info_cache_data_free(&own.view);
  EXPECT_EQ(open_descriptors(), before);
}

TEST(RawBatteryFile, GivesTheRecordWhileItIsFreshAndZeroesOtherwise) {
  Device device("four-source");
  kvrn_raw_battery_image image{};
  for (int32_t i = 0; i < 4; ++i) image.records[i].voltage_mv = 100 + i;
  image.stamp = get_timestamp_mono();
  device.file(raw_battery, bytes_of(image));
  const auto before = open_descriptors();
  // The voltage in mV, 0 where there is no record.
  const auto voltage_of = [](int psu) {
    kvrn_sbs_battery_info record;
    std::memset(static_cast<void*>(&record), 5, sizeof record);
    const int read = get_battery_info(psu, &record);
    EXPECT_EQ(read != 0, record.voltage_mv != 0) << psu;
    return int32_t{record.voltage_mv};
  };
  for (int i = 0; i < 4; ++i) EXPECT_EQ(voltage_of(i), 100 + i);
  for (const int bad : {-1, 4, 1 << 30}) EXPECT_EQ(voltage_of(bad), 0);
  EXPECT_EQ(get_battery_info(3, nullptr), 0);
  device.file(raw_battery, bytes_of(image) + "x");
  EXPECT_EQ(voltage_of(3), 0);
  image.stamp = get_timestamp_mono() - 11;
  device.file(raw_battery, bytes_of(image));
  EXPECT_EQ(voltage_of(3), 0);
  EXPECT_EQ(open_descriptors(), before);
  EXPECT_EQ(logged, "");
}
