// SPDX-License-Identifier: MIT
#include "tools/kvrn-monitord/publisher.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "sim/device.hpp"
#include "tests/syslog.hpp"

TEST(Publisher, LogsWhenAFileBeginsToFailAndWhenAllAreWrittenAgain) {
  kvrn::sim::Device device("four-source");
  monitord::Publisher publisher;
  ASSERT_TRUE(publisher.refresh());
  const std::tuple<const char*, const char*> cases[] = {
      {"/tmp/.raw_battery_data", "4 Battery data: Unable to open file /tmp/.raw_battery_data (21)\n"},
      {"/tmp/.psu_info_cache", "4 PSU cache: Unable to open file /tmp/.psu_info_cache (21)\n"},
      {"/tmp/.output_cache", "4 Output cache: Unable to open output file /tmp/.output_cache (21)\n"}};
  for (const auto& [path, reason] : cases) {
    device.remove(path);
    std::filesystem::create_directory(device.path(path));
    logged.clear();
    for (int period = 0; period < 3; ++period) EXPECT_FALSE(publisher.refresh()) << path;
    EXPECT_EQ(logged, reason + std::string("3 a file cannot be written, trying again\n"));
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
  device.remove("/dev/i2c-2");  // nothing to publish is no failure
  EXPECT_TRUE(publisher.refresh());
}
