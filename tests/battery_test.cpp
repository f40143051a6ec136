// SPDX-License-Identifier: MIT
#include <bit>
#include <vector>

#include "tests/device.hpp"

namespace {

constexpr int bus = 2;
constexpr int battery = 0x0b;

int passes(const Device& device) {
  const std::string trace = device.trace();
  int count = 0;
  for (size_t at = 0; (at = trace.find("open /dev/i2c-2", at)) != std::string::npos; ++at) ++count;
  return count;
}

kvrn_sbs_battery_info read_battery() {
  kvrn_sbs_battery_info record{};
  EXPECT_EQ(sbs_battery_get_direct(&record), 1);
  return record;
}

}  // namespace

TEST(SmartBattery, ReadsEveryRegisterInOnePass) {
  Device device("four-source");
  device.i2c(bus, battery, 0x03, 0x8001);
  const auto block = [&device](int number, const std::vector<uint8_t>& bytes) {
    device.i2c_block(bus, battery, number, bytes);
  };
  block(0x71, {0x74, 0x0E, 0x75, 0x0E, 0x76, 0x0E, 0xFF, 0xFF});
  block(0x7B, {0x78, 0x0E, 0, 0, 0, 0, 0x79, 0x0E, 0, 0, 0, 0, 0x7A, 0x0E});
  block(0x51, {0x78, 0x56, 0x34, 0x92});
  block(0x55, {0x01, 0x02, 0x83});
  device.trace(true);
  kvrn_sbs_battery_info record = read_battery();
  EXPECT_EQ(passes(device), 1);
  const std::vector<int32_t> read{record.complete,          record.charging,           record.charge_state,
                                  record.voltage_mv,        record.current_ma,         record.temp_c,
                                  record.time_to_empty_s,   record.time_to_full_s,     record.cycle_count,
                                  record.full_capacity_mah, record.design_capacity_mah};
  EXPECT_EQ(read, (std::vector{1, 1, 2, 25904, -1200, 25, 65535 * 60, 7920, 42, 12000, 12500}));
  EXPECT_EQ(record.manufacture_time, 1489536000);  // 2017-03-15
  EXPECT_EQ(record.charge_pct, 78.0F);
  EXPECT_EQ(device.i2c(bus, battery, 0x03), 0x0001U);
  const int32_t cells[]{3700, 3701, 3702, -1, 3704, 3705, 3706};
  for (int i = 0; i < KVRN_SBS_CELLS; ++i) EXPECT_EQ(record.cell_mv[i], cells[i]) << i;
  EXPECT_EQ(record.block_51, std::bit_cast<int32_t>(0x92345678U));
  EXPECT_EQ(record.block_55, 0x830201);
  EXPECT_EQ(bytes_of(record)[7], static_cast<char>(25904 & 0xFF)) << "big-endian on every host";
  EXPECT_EQ(sbs_battery_get_direct(nullptr), 0);
  // Blocks of another length are none.
  block(0x51, {1, 2, 3});
  block(0x55, {1, 2, 3, 4, 5});
  record = read_battery();
  EXPECT_EQ(record.block_51, INT_MIN);
  EXPECT_EQ(record.block_55, INT_MIN);
  EXPECT_EQ(record.complete, 1);
  block(0x51, {1, 2, 3, 4, 5});  // cut to the four bytes that were asked for
  EXPECT_EQ(read_battery().block_51, 0x04030201);
}

TEST(SmartBattery, RegistersDecideChargingStateTemperatureAndPercentage) {
  const auto with = [](int reg, unsigned raw) {
    Device device("four-source");
    for (const auto& [other, value] : {std::pair{0x16, 0x0040}, {0x0A, 0}, {0x10, 1000}, {0x0F, 500}})
      device.i2c(bus, battery, other, static_cast<unsigned>(value));
    device.i2c(bus, battery, reg, raw);
    return read_battery();
  };
  EXPECT_EQ(with(0x16, 0x0040).charging, 0);
  EXPECT_EQ(with(0x16, 0x0020).charging, 0);
  EXPECT_EQ(with(0x16, 0x0080).charging, 1);
  EXPECT_EQ(with(0x0A, 0xFF38).current_ma, 200);
  EXPECT_EQ(with(0x0A, 0x8000).current_ma, 32768);
  EXPECT_EQ(with(0x0A, 0xFFFF).current_ma, INT_MIN);
  EXPECT_EQ(with(0x09, 0xFFFF).voltage_mv, INT_MIN);
  EXPECT_EQ(with(0x18, 0xFFFF).design_capacity_mah, INT_MIN);
  EXPECT_EQ(with(0x08, 2731).temp_c, 0);
  EXPECT_EQ(with(0x08, 2722).temp_c, 0);
  EXPECT_EQ(with(0x08, 0).temp_c, -273);
  EXPECT_EQ(with(0x00, 0x0000).charge_state, 4);
  EXPECT_EQ(with(0x00, 0x0C00).charge_state, 7);
  EXPECT_EQ(with(0x0F, 1500).charge_pct, 100.0F);
  EXPECT_EQ(with(0x0F, 2500).charge_pct, -2147483648.0F);
  EXPECT_EQ(with(0x10, 0).charge_pct, -2147483648.0F);
  EXPECT_EQ(with(0x1B, 0xFFFF).manufacture_time, INT_MIN);
}

TEST(SmartBattery, SilentBatteryKeepsTheMarkersForFivePasses) {
  Device device("four-source");
  device.i2c_refuse(bus, battery, 0x16, true);
  device.trace(true);
  EXPECT_EQ(read_battery().complete, 0);  // without status no pass completes
  EXPECT_EQ(passes(device), 5);
  device.i2c(bus, battery, 0x00, 0x0000);  // but mode bits 0 are enough
  EXPECT_EQ(read_battery().complete, 1);
  device.i2c_busy(bus, true);
  const kvrn_sbs_battery_info record = read_battery();
  EXPECT_EQ(record.complete, 0);
  EXPECT_EQ(record.temp_c, 129);
  for (const int32_t value : {int32_t{record.voltage_mv}, int32_t{record.current_ma}, int32_t{record.cell_mv[6]},
                              int32_t{record.block_51}, int32_t{record.cycle_count}})
    EXPECT_EQ(value, INT_MIN);
  EXPECT_EQ(std::bit_cast<uint32_t>(float{record.charge_pct}), 0xCF000000U);
  EXPECT_EQ(record.manufacture_time, -2147483648LL);
  for (const uint8_t byte : record.reserved) EXPECT_EQ(byte, 0);
  // A missing bus is the only failure.
  device.remove("/dev/i2c-2");
  kvrn_sbs_battery_info other{};
  EXPECT_EQ(sbs_battery_get_direct(&other), 0);
  EXPECT_EQ(other.temp_c, 129);
  EXPECT_EQ(sbs_battery_shutdown(), 0);
}

TEST(SmartBattery, ShutdownIsSentTwiceWithARestBetween) {
  Device device("four-source");
  device.trace(true);
  const int64_t start = get_timestamp_mono_ms();
  EXPECT_EQ(sbs_battery_shutdown(), 1);
  EXPECT_GE(get_timestamp_mono_ms() - start, 200);
  EXPECT_EQ(passes(device), 1);
  device.i2c_refuse(bus, battery, 0x00, true);
  EXPECT_EQ(sbs_battery_shutdown(), 0);
  EXPECT_EQ(passes(device), 6);
}

TEST(SmartBattery, PowerSupplyAttributesTakeBasePrefixes) {
  Device device("four-source");
  const std::tuple<const char*, int, int64_t> cases[] = {
      {"25904000\n", 1, 25904000},           {"0x1F", 1, 31}, {"-017", 1, -15}, {"none", 0, 9}, {"08", 1, 0},
      {"99999999999999999999", 1, INT64_MAX}};
  for (const auto& [text, result, expected] : cases) {
    device.file("/sys/class/power_supply/sbs-2-000b/voltage_now", text);
    int64_t value = 9;
    EXPECT_EQ(read_sbs_int_value("voltage_now", &value), result) << text;
    EXPECT_EQ(value, expected) << text;
  }
  int64_t value = 9;
  EXPECT_EQ(read_sbs_int_value("missing", &value), 0);
  // A path that does not fit is none, not a shorter one.
  EXPECT_EQ(read_sbs_int_value((std::string(81, '/') + "voltage_now.").c_str(), &value), 0);
  EXPECT_EQ(read_sbs_int_value(nullptr, &value), 0);
  EXPECT_EQ(read_sbs_int_value("voltage_now", nullptr), 0);
}
