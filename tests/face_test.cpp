// SPDX-License-Identifier: MIT
// The C++ face: what is unknown, and what owners leave behind.

#include <chrono>

#include "tests/device.hpp"

using kvrnpp::Configuration;

TEST(Face, WhatIsNotMeasuredIsUnknown) {
  Device device("three-source");
  device.gpio(211, 1);
  device.file("/tmp/.charging_status", "-1");
  const kvrnpp::Psus psus;
  ASSERT_EQ(psus.size(), 3);
  EXPECT_EQ(psus[0].voltage_mv(), std::nullopt);  // no mains
  EXPECT_EQ(psus[1].voltage_mv(), 54000);
  EXPECT_EQ(psus[1].charging(), std::nullopt);
  EXPECT_EQ(psus[2].voltage_mv(), 51900);
  EXPECT_EQ(psus[2].charging(), std::nullopt);
  EXPECT_EQ(psus[2].charge_pct(), std::nullopt);
  EXPECT_EQ(psus[2].cell_mv(0), std::nullopt);
  device.gpio_busy(111, true);
  EXPECT_EQ(kvrnpp::read_line(111), std::nullopt);
  EXPECT_EQ(kvrnpp::poe_on(128), std::nullopt);
}

TEST(Face, ANumberIsToldFromAMissingOne) {
  const TempDir dir;
  write_text(dir / "cfg", "a=0\nb=1\nc=x\nd=-2147483648\na.01=on\n");
  Configuration cfg = Configuration::read((dir / "cfg").c_str());
  EXPECT_EQ(cfg.number("a"), 0);
  EXPECT_EQ(cfg.number("b"), 1);
  EXPECT_EQ(cfg.number("c"), std::nullopt);
  EXPECT_EQ(cfg.number("d"), INT32_MIN);
  EXPECT_EQ(cfg.flag("a.1"), true);
  EXPECT_EQ(cfg.flag(""), std::nullopt);
  EXPECT_TRUE(cfg.set(std::string_view("bx", 1), "2"));
  EXPECT_EQ(cfg.value("b"), "2");
  EXPECT_EQ(cfg.erase("a"), 1);  // the first record
  EXPECT_EQ(cfg.number("a"), std::nullopt);
  EXPECT_FALSE(Configuration().set("a", "1"));
}

TEST(Face, OwnersReleaseWhatIsTheirsAlone) {
  Device device("three-source");
  const auto before = open_descriptors();
  kvrn_output_image image{};
  device.file("/tmp/.output_cache", {reinterpret_cast<const char*>(&image), sizeof image});
  {
    kvrnpp::OutputCache outputs;
    EXPECT_EQ(outputs.size(), 3);
    const kvrnpp::OutputCache moved = std::move(outputs);
    EXPECT_FALSE(outputs);  // NOLINT(bugprone-use-after-move)
    outputs = kvrnpp::OutputCache();
    EXPECT_EQ(moved.size() + outputs.size(), 6);
  }
  EXPECT_EQ(open_descriptors(), before);
  const TempDir dir;
  const std::string path = dir / "lock";
  EXPECT_TRUE(kvrnpp::Lock(path.c_str(), 0));
  EXPECT_FALSE(std::filesystem::exists(path));
  write_text(path, "");  // another holder's
  std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
  EXPECT_FALSE(kvrnpp::Lock(path.c_str(), 0));
  EXPECT_TRUE(std::filesystem::exists(path));
  EXPECT_FALSE(kvrnpp::Average(0));
}
