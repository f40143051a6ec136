// SPDX-License-Identifier: MIT
#include "tools/kvrn-monitord/publisher.hpp"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>

#include <algorithm>

#include "tests/device.hpp"
#include "tests/syslog.hpp"

static time_t started_at;  // the clock's zero

extern "C" int clock_gettime(clockid_t clock, timespec* out) noexcept {
  const int result = static_cast<int>(::syscall(SYS_clock_gettime, clock, out));
  if (clock == CLOCK_MONOTONIC) out->tv_sec -= started_at;
  return result;
}

// In the first seconds after the device's start an image that was only mapped counts as fresh.
TEST(Publisher, OfABatteryThatCannotBeReadItPublishesNoZeros) {
  Device device("four-source");
  device.remove("/dev/i2c-2");
  started_at = get_timestamp_mono() - 5;
  monitord::Publisher publisher;
  EXPECT_TRUE(publisher.refresh());
  kvrn_sbs_battery_info battery;
  ASSERT_EQ(get_battery_info(3, &battery), 1);
  EXPECT_EQ(battery.voltage_mv, INT32_MIN);
}

TEST(Publisher, LogsWhenAFileBeginsToFailAndWhenAllAreWrittenAgain) {
  Device device("four-source");
  monitord::Publisher publisher;
  ASSERT_TRUE(publisher.refresh());
  for (const char* path : {"/tmp/.raw_battery_data", "/tmp/.psu_info_cache", "/tmp/.output_cache"}) {
    device.remove(path);
    std::filesystem::create_directory(device.path(path));
    logged.clear();
    for (int period = 0; period < 3; ++period) EXPECT_FALSE(publisher.refresh()) << path;
    // Once, behind the library's own reason.
    EXPECT_EQ(std::ranges::count(logged, '\n'), 2) << logged;
    EXPECT_TRUE(logged.ends_with(std::string("3 cannot publish, trying again: ") + path + ": Is a directory\n"))
        << logged;
    device.remove(path);
    logged.clear();
    for (int period = 0; period < 3; ++period) EXPECT_TRUE(publisher.refresh()) << path;
    EXPECT_EQ(logged, "5 publishing again\n");
    device.remove(path);
    ASSERT_EQ(::mkfifo(device.path(path).c_str(), 0600), 0);
    EXPECT_FALSE(publisher.refresh()) << path;  // does not wait for somebody at its other end
    device.remove(path);
    EXPECT_TRUE(publisher.refresh());
  }
}
