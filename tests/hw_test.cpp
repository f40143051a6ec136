// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gpiod.h>

#include "tests/device.hpp"

TEST(GpioRead, FollowsTheLevelAndFailsWith255) {
  Device device("four-source");
  for (const uint32_t missing : {305U, 199U, 4294967295U}) EXPECT_EQ(gpio_read(missing), 255) << missing;
  EXPECT_EQ(gpio_read_by_name(get_chip_path(2), "no such line"), 255);
  EXPECT_EQ(gpio_read_by_name("/dev/null", "x"), 255);
  EXPECT_EQ(gpio_read_by_name(nullptr, nullptr), 255);
  device.file("/gpio/101", "0 in\n");  // a line that the device tree left unnamed
  for (const char* no_name : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(gpio_read_by_name(get_chip_path(1), no_name), 255);
    EXPECT_EQ(gpio_write_by_name(get_chip_path(1), no_name, 1), -1);
  }
  EXPECT_EQ(gpio_write_ex(get_chip_path(1), 1, "", 1), -1);
  EXPECT_EQ(gpio_read_by_name(get_chip_path(1), "dc-out-1"), 1);
  EXPECT_EQ(gpio_write_by_name(get_chip_path(1), "dc-out-1", 0), 0);
  EXPECT_EQ(gpio_read(111), 0);
  // A plain read keeps the direction, a forced one makes an input.
  ASSERT_EQ(gpio_write(111, 2), 0);
  EXPECT_EQ(device.gpio_direction(111), "out");
  EXPECT_EQ(gpio_read(111), 1);
  EXPECT_EQ(device.gpio_direction(111), "out");
  EXPECT_EQ(gpio_read_force(111), 1);
  EXPECT_EQ(device.gpio_direction(111), "in");
}

TEST(GpioWrite, LeavesALineAloneThatHasTheLevelAndGoesThroughInactiveOtherwise) {
  Device device("four-source");
  device.gpio(111, 1);
  device.trace(true);
  EXPECT_EQ(gpio_write(111, 1), 0);
  EXPECT_EQ(device.trace().find("out"), std::string::npos) << device.trace();
  EXPECT_EQ(gpio_write(111, 2), 0);  // not 0 and not 1: always driven
  EXPECT_NE(device.trace().find("out"), std::string::npos) << device.trace();
  EXPECT_EQ(device.gpio(111), 1);
  EXPECT_EQ(gpio_write(111, 0), 0);
  EXPECT_EQ(device.gpio(111), 0);
  EXPECT_EQ(gpio_write(305, 1), -1);
  EXPECT_EQ(gpio_write(305, 255), -1);  // not the failed read's own value
  EXPECT_EQ(gpio_write_by_name(get_chip_path(1), "no such line", 1), -1);
  gpio_oe();
}

TEST(GpioRequest, TriesABusyLineTenTimesOneMillisecondApart) {
  Device device("four-source");
  gpiod_chip* chip = gpiod_chip_open(get_chip_path(1));
  ASSERT_NE(chip, nullptr);
  gpiod_line_request* request = request_line(chip, 11, 0);
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(device.gpio_direction(111), "in");
  const int64_t start = get_timestamp_mono_ms();
  EXPECT_EQ(request_line(chip, 11, -1), nullptr);
  EXPECT_GE(get_timestamp_mono_ms() - start, 10);
  EXPECT_EQ(gpio_read(111), 255);
  EXPECT_EQ(gpio_write(111, 1), -1);
  gpiod_line_request_release(request);
  gpiod_chip_close(chip);
  EXPECT_NE(gpio_read(111), 255);
  EXPECT_EQ(request_line(nullptr, 0, 0), nullptr);
}

TEST(I2c, ReadsAndWritesRegistersOfASelectedDevice) {
  Device device("three-source");
  device.i2c(2, 0x58, 0x09, 0x1234);
  EXPECT_EQ(i2c_read_word(2, 0x58, 0x09), 0x1234);
  EXPECT_EQ(i2c_read_word(2, 0x158, 0x109), 0x1234);  // masked to 8 bits
  EXPECT_EQ(i2c_read_word_swapped(2, 0x58, 0x09), 0x3412);
  EXPECT_EQ(i2c_read_byte(2, 0x158, 0x18B), 135);
  EXPECT_EQ(i2c_read_word(77, 0x58, 0x09), 0);
  EXPECT_EQ(i2c_read_byte(2, 0x33, 0x8B), 0);

  const int fd = i2cdev_open(2, 0x58);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(::fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  uint8_t byte = 0;
  EXPECT_GE(i2cdev_writeb(fd, 0x10, 0xAB), 0);
  EXPECT_GE(i2cdev_readb(fd, 0x10, &byte), 0);
  EXPECT_EQ(byte, 0xAB);
  EXPECT_GE(i2cdev_readb(fd, 0x10, nullptr), 0);
  device.i2c_refuse(2, 0x58, 0x10, true);
  EXPECT_LT(i2cdev_readb(fd, 0x10, &byte), 0);
  EXPECT_EQ(byte, 0xAB);
  uint16_t word = 0;
  EXPECT_GE(i2cdev_readw(fd, 0x09, &word), 0);
  EXPECT_EQ(word, 0x1234);
  EXPECT_GE(i2cdev_readws(fd, 0x09, &word), 0);
  EXPECT_EQ(word, 0x3412);
  ::close(fd);
  EXPECT_LT(i2cdev_open(77, 0x58), 0);
  EXPECT_EQ(i2cdev_open(2, 0x4000), -1);  // no such address
}

TEST(Attributes, AreReadAsTheTargetReadsThem) {
  Device device("four-source");
  int value = 0;
  const std::tuple<const char*, int, int> cases[] = {
      {"25900\n", 0, 25900},        {"", -1, 1},     {"abc", -1, 1}, {"99999999999", 0, INT_MAX}, {"12abc", 0, 12},
      {"-99999999999", 0, INT_MIN}, {"  -7", 0, -7}, {"-", -1, 1}};
  for (const auto& [text, result, expected] : cases) {
    device.hwmon("mon-battery", "in0_input", text);
    value = 1;
    EXPECT_EQ(i2c_hwmon_readint("mon-battery", "in0_input", &value), result) << text;
    EXPECT_EQ(value, expected) << text;
  }
  // A path of sysfs has the address as a signed decimal byte.
  device.file("/sys/devices/platform/i2c/i2c-0/i2c-1/1-0072/temp", "31000\n");
  device.file("/sys/devices/platform/i2c/i2c-0/i2c-1/1--056/temp", "-5\n");
  EXPECT_EQ(i2c_sysfs_readint(1, 72, "temp", &value), 0);
  EXPECT_EQ(value, 31000);
  EXPECT_EQ(i2c_sysfs_readint(1, 328, "temp", &value), 0);
  EXPECT_EQ(i2c_sysfs_readint(1, 200, "temp", &value), 0);  // 200 is -56
  EXPECT_EQ(value, -5);
  EXPECT_EQ(i2c_sysfs_readint(1, 72, "temp", nullptr), -1);
  EXPECT_EQ(i2c_sysfs_readint(1, 73, "temp", &value), -1);
  EXPECT_EQ(i2c_sysfs_readint(1, 72, std::string(5000, 'x').c_str(), &value), -1);
  EXPECT_EQ(value, -5);
}

TEST(OutputMonitor, FailedAndNegativeReadingsAreZeroAndPowerWraps) {
  Device device("three-source");
  load_output(device, 1, "24000", "500");
  load_output(device, 2, "24000", "-3");
  load_output(device, 3, "70000", "70000");
  EXPECT_EQ(isl28022_read_voltage_id_direct(0), 24000);
  EXPECT_EQ(isl28022_read_current_id_direct(0), 500);
  EXPECT_EQ(isl28022_read_power_id_direct(0), 12'000'000);
  EXPECT_EQ(isl28022_read_power_id_direct(1), 0);
  EXPECT_EQ(isl28022_read_power_id_direct(2), 605'032'704);  // 4.9e9 modulo 2^32
  EXPECT_EQ(isl28022_read_power_out_direct(), 617'032'704);
  device.trace(true);
  EXPECT_EQ(isl28022_read_power_id_direct(3), 0);
  EXPECT_EQ(isl28022_read_power_id_direct(4294967295U), 0);
  EXPECT_EQ(device.trace(), "");  // beyond the board's outputs no file is touched
}
