// SPDX-License-Identifier: MIT
#include <errno.h>
#include <gtest/gtest.h>
#include <kvrn/util.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/files.hpp"

TEST(Average, SlidesOverTheRingAndWrapsAt32Bits) {
  avg_value_buff buffer{};
  ASSERT_EQ(avg_value_buff_init(&buffer, 2), 1);
  EXPECT_EQ(avg_value_buff_add(&buffer, 10), 10);
  EXPECT_EQ(avg_value_buff_add(&buffer, 20), 15);
  EXPECT_EQ(avg_value_buff_add(&buffer, 30), 25);
  avg_value_buff_reset(&buffer);
  EXPECT_EQ(avg_value_buff_add(&buffer, -7), -7);
  EXPECT_EQ(avg_value_buff_add(&buffer, -4), -5);  // -5.5 is cut towards zero
  avg_value_buff_reset(&buffer);
  EXPECT_EQ(avg_value_buff_add(&buffer, 3'000'000'000), 3'000'000'000 - (INT64_C(1) << 32));
  EXPECT_EQ(buffer.average, -1'294'967'296);
  // The sum wraps without trapping.
  EXPECT_EQ(avg_value_buff_add(&buffer, INT64_MAX), 1'500'000'000);
  EXPECT_EQ(avg_value_buff_add(&buffer, INT64_MAX), -1);
  avg_value_buff_reset(&buffer);
  EXPECT_EQ(avg_value_buff_add(&buffer, INT64_MIN), 0);
  avg_value_buff_clean(&buffer);
  EXPECT_NE(buffer.samples, nullptr);
  avg_value_buff_clean(nullptr);
  EXPECT_EQ(avg_value_buff_init(nullptr, 4), 0);
}

TEST(FileCopy, CopiesEveryByteAndRefusesAnExistingDestination) {
  const TempDir dir;
  const std::string content = std::string(300, 'x') + '\0' + "tail";
  write_text(dir / "from", content);
  ASSERT_EQ(fileCopy((dir / "from").c_str(), (dir / "to").c_str(), 0640), 1);
  EXPECT_EQ(read_text(dir / "to"), content);
  struct stat status {};
  ASSERT_EQ(::stat((dir / "to").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);

  write_text(dir / "other", "kept");
  EXPECT_EQ(fileCopy((dir / "from").c_str(), (dir / "other").c_str(), 0640), 0);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(read_text(dir / "other"), "kept");
  EXPECT_EQ(fileCopy((dir / "missing").c_str(), (dir / "new").c_str(), 0640), 0);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(fileCopy(dir.path().c_str(), (dir / "new").c_str(), 0640), 0);  // a folder opens, but does not read
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(fileCopy(nullptr, (dir / "none").c_str(), 0640), 0);
}

TEST(Backup, KeepsTwentyOneGenerations) {
  const TempDir dir;
  for (int version = 1; version <= 23; ++version) {
    write_text(dir / "cfg", std::to_string(version));
    backup_file(dir.path().c_str(), "cfg");
  }
  EXPECT_EQ(read_text(dir / "cfg_b/cfg.0"), "23");
  EXPECT_EQ(read_text(dir / "cfg_b/cfg.20"), "3");
  EXPECT_FALSE(std::filesystem::exists(dir / "cfg_b/cfg.21"));
  std::filesystem::remove(dir / "cfg_b/cfg.7");
  backup_file(dir.path().c_str(), "cfg");
  EXPECT_FALSE(std::filesystem::exists(dir / "cfg_b/cfg.8"));
  EXPECT_EQ(read_text(dir / "cfg_b/cfg.7"), "17");
  backup_file(nullptr, "cfg");
}

TEST(ReadFromFile, TakesTheNumberAtTheStartAsTheTargetDoes) {
  const TempDir dir;
  const std::tuple<const char*, uint32_t> cases[] = {{" \t\n 42x", 42},   {"4294967296", 4294967295U},
                                                     {"-1", 4294967295U}, {"-4294967296", 4294967295U},
                                                     {"abc", 0},          {"0x10", 0}};
  for (const auto& [text, value] : cases) {
    write_text(dir / "number", text);
    EXPECT_EQ(read_from_file((dir / "number").c_str()), value) << '"' << text << '"';
  }
  EXPECT_EQ(read_from_file((dir / "missing").c_str()), 0U);
  EXPECT_EQ(read_from_file(dir.path().c_str()), 0U);
  EXPECT_EQ(read_from_file(nullptr), 0U);
  ASSERT_EQ(::truncate((dir / "number").c_str(), 1 << 30), 0);  // a number, then a gigabyte of holes
  EXPECT_EQ(read_from_file((dir / "number").c_str()), 0U);
}

TEST(Strncpy, TerminatesWithinTheSizeAndTreatsZeroAsUnbounded) {
  char buffer[16] = "..............";
  EXPECT_EQ(strncpy_s(buffer, "abcdef", 4), 3U);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(strncpy_s(buffer, "abcdef", 1), 0U);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(strncpy_s(buffer, "abcdef", 0), 6U);
  EXPECT_STREQ(buffer, "abcdef");
  EXPECT_EQ(strncpy_s(nullptr, "a", 4), 0U);
  EXPECT_EQ(strncpy_s(buffer, nullptr, 4), 0U);
  EXPECT_STREQ(buffer, "abcdef");
}
