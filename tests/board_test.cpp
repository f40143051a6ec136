// SPDX-License-Identifier: MIT
// The tables, SoC detection, lookups, and the small questions about a record.
#include "tests/board_table.hpp"
#include "tests/device.hpp"

TEST(BoardTable, RowsLieInFrontOfTheGenericRecordWithItsFamilysDefaults) {
  // The lookups see the same rows, from the first to the last.
  EXPECT_EQ(ar7240_identify_system(ar724x_rows().front().system_id), &ar724x_rows().front());
  EXPECT_EQ(ar7240_identify_system(ar724x_rows().back().system_id), &ar724x_rows().back());
  for (const kvrn_board_record& row : qca953x_rows()) EXPECT_EQ(ar953x_identify_system(row.system_id), &row);
  for (const kvrn_board_record& row : ar724x_rows())
    EXPECT_TRUE(row.radio_count == 0 || row.radio_subsys_id == row.system_id) << row.system_id;
  EXPECT_EQ(ar7240_identify_system(0xE000), nullptr);
  EXPECT_EQ(ar7240_identify_system(0x1E1C5), nullptr);
  const kvrn_board_record& a = ar724x_generic();
  const kvrn_board_record& b = qca953x_generic();
  for (const kvrn_board_record* record : {&a, &b}) {
    EXPECT_EQ(record->eth_count, 2);
    EXPECT_EQ(record->reserved5[674] << 8 | record->reserved5[675], 0xFF07);
    EXPECT_EQ(record->decoded, 1);
  }
  EXPECT_STREQ(a.name, "Generic ar724x");
  EXPECT_STREQ(b.name, "Generic ar953x");
}

namespace {

// What the device's /proc/cpuinfo makes of the family: 3, 5, or 7 for every other one.
int family_seen() {
  if (board_identify_system(0xEE5A) != nullptr) return 5;
  // A lookup by code answers on the two known families alone.
  return board_identify_platform("VDR10") != nullptr ? 3 : 7;
}

}  // namespace

TEST(SocDetection, ReadsTheKernelsNames) {
  const std::string blanks(128, 'x');
  const std::tuple<std::string, int> cases[] = {
      {"system type\t\t: Atheros AR7241 rev 1\ncpu model\t\t: MIPS 24Kc V7.4\n", 3},
      {"cpu model : MIPS 4Kc V0.10\nsystem type : Atheros AR7240\n", 7},
      {"Processor : MIPS 4Kc\nHardware : Atheros AR7240\n", 7},
      {"Processor : MIPS 4Kc\nHardware : Qualcomm Atheros QCA9531\n", 5},
      {"system type : Atheros AR9344\n", 7},
      {"system type : Qualcomm Atheros QCA9533 ver 2 rev 0\n", 5},
      {"system type : Qualcomm Atheros QCA9558\n", 7},
      {"system type : Qualcomm Atheros QCA9533\nsystem type : Atheros AR7241\n", 3},
      {"system type : Atheros AR7241\nsystem type :\n", 7},  // an empty value counts
      {"system type : Atheros AR7241\nsystem type:", 3},     // no character behind the colon
      {"system type at last: Atheros AR7241", 3},            // no line end
      {"system type:Atheros AR7241\n", 7},                   // the character behind the colon is a blank
      {"System Type : Atheros AR7241\n", 7},
      {"no colon\n\n:\n::\nsystem type : Atheros AR7241\n", 3},
      {blanks + "system type : Atheros AR7241\n", 3},  // a longer line goes on as a line of its own
      {blanks + "x: " + "system type : Atheros AR7241\n", 7},
      {std::string("system type \0: Atheros AR7241\n", 30), 7},
      {std::string("\0\xFF\0:\n\xFF:", 6) + std::string(1 << 16, '\xFF'), 7},
      {"", 7},
  };
  Device device("generic");
  for (const auto& [cpuinfo, family] : cases) {
    device.file("/proc/cpuinfo", cpuinfo);
    EXPECT_EQ(family_seen(), family) << cpuinfo.substr(0, 200);
  }
  device.remove("/proc/cpuinfo");
  EXPECT_EQ(family_seen(), 7);
  std::filesystem::create_directory(device.path("/proc/cpuinfo"));
  EXPECT_EQ(family_seen(), 7);
}

TEST(SocDetection, NamesOfFamiliesHaveSixCharacters) {
  const std::tuple<const char*, uint32_t, uint32_t> cases[] = {
      {"ar7240", 6, 3}, {"AR7240", 6, 3}, {"aR2313x", 6, 0},         {"ar2316", 6, 1},
      {"Ar7100", 6, 2}, {"ar9330", 6, 7}, {"ar7240", 5, 7},          {"ar7240", 7, 7},
      {"ar7240", 0, 7}, {"", 6, 7},       {"ar7240", UINT32_MAX, 7}, {nullptr, 6, 7}};
  for (const auto& [name, length, type] : cases)
    EXPECT_EQ(arch_name_to_type(name, length), type) << (name ? name : "null");
}

TEST(BoardIdentify, AnotherSocIsUnknownWithoutRadio) {
  Device device("generic");
  device.file("/proc/cpuinfo", "system type : Atheros AR9344\n");
  const kvrn_board_record* board = board_identify();
  EXPECT_STREQ(board->name, "Unknown");
  EXPECT_EQ(board->radio_count + board->system_id, 0);
  EXPECT_EQ(board_identify_platform("VDR10"), nullptr);
  // By system id every other family is served from the AR724x rows.
  EXPECT_EQ(board_identify_system(0xE1C5)->system_id, 0xE1C5);
  EXPECT_EQ(board_identify_system(0xEE5A), nullptr);
}

TEST(BoardIdentify, ChoosesOnceAndDecodesOnce) {
  Device device("four-source");
  const kvrn_board_record* board = board_identify();
  EXPECT_STREQ(board->name, "Quorvex Power 4");
  EXPECT_EQ(board_identify_system(0xEE5A), board);
  EXPECT_EQ(board_identify_platform(board->platform_code), board);
  EXPECT_EQ(ar953x_identify(5), board);
  device.file("/proc/cpuinfo", "");
  EXPECT_EQ(board_identify(), board);
  EXPECT_STREQ(board->name, "Quorvex Power 4");
}

TEST(BoardLookup, AFreshRowIsComparedWithFiveCharactersAndADecodedOneWithTheWholeCode) {
  Device device("ar724x");
  // The family's own lookups take scrambled codes and decode nothing.
  const kvrn_board_record& fresh = ar724x_rows()[5];
  EXPECT_EQ(ar7240_identify_platform(fresh.platform_code, ""), &fresh);
  EXPECT_EQ(ar953x_identify_platform(qca953x_rows().back().platform_code, ""), &qca953x_rows().back());
  EXPECT_EQ(fresh.decoded, 0);
  for (const char* code : {"", "V", "VDR1", "vdr10", "Z", ",", "no such code"})
    EXPECT_EQ(board_identify_platform(code), nullptr) << code;
  EXPECT_EQ(board_identify_platform(nullptr), nullptr);
  const kvrn_board_record* row = board_identify_platform("VDR10 and more");
  ASSERT_NE(row, nullptr);
  EXPECT_STREQ(row->platform_code, "VDR10");
  EXPECT_EQ(board_identify_platform("VDR10 and more"), nullptr);
  EXPECT_EQ(board_identify_platform("VDR10"), row);
  EXPECT_EQ(ar7240_identify_platform("anything", "VDR10"), row);
  EXPECT_EQ(ar7240_identify_platform(nullptr, "VDR10"), nullptr);
  EXPECT_EQ(ar7240_identify_platform("VDR10", nullptr), nullptr);
}

TEST(BoardLeds, AreFoundByRoleAndOrdinal) {
  kvrn_board_record board{};
  board.leds[3].role = 1;
  board.leds[7].role = 15 | 2U << 4;
  board.leds[9].role = 15;
  board.leds[31].role = 0xF0000000;
  const std::tuple<int, int, int> cases[] = {{0, 1, 3},  {0, 15, 7},  {1, 2, 7},        {2, 1, 31},      {5, 1, 31},
                                             {0, 0, -1}, {0, -1, -1}, {0, 16, -1},      {1, 1, -1},      {3, 2, -1},
                                             {6, 1, -1}, {-1, 1, -1}, {INT_MAX, 1, -1}, {0, INT_MIN, -1}};
  for (const auto& [role, ordinal, index] : cases)
    EXPECT_EQ(led_idx(&board, role, ordinal), index) << role << ' ' << ordinal;
  const int counts[] = {3, 1, 1, 1, 1, 1};
  for (int role = 0; role < 6; ++role) EXPECT_EQ(led_cnt(&board, role), counts[role]) << role;
  for (kvrn_board_led& led : board.leds) led.role = 0xFFFFFFFF;
  EXPECT_EQ(led_cnt(&board, 4), 32);
  EXPECT_EQ(led_cnt(&board, 6) + led_cnt(&board, -1) + led_cnt(nullptr, 0), 0);
  EXPECT_EQ(led_idx(nullptr, 0, 1), -1);
}

TEST(BoardName, IsOverriddenForTwoRadios) {
  kvrn_board_record board{};
  std::strcpy(board.name, "Plain");
  const auto name_with = [&board](uint8_t radios, uint16_t system, uint16_t radio) {
    board.radio_count = radios;
    board.system_id = system;
    board.radio_subsys_id = radio;
    return std::string(map_board_name(&board));
  };
  EXPECT_EQ(name_with(1, 1, 0x3009) + name_with(2, 1, 0x3005), "Cellbank9Cellbank5");
  EXPECT_EQ(name_with(0, 1, 0x3009) + name_with(1, 2, 0x3009) + name_with(1, 1, 0x3006), "PlainPlainPlain");
  EXPECT_EQ(map_board_name(nullptr), nullptr);
}
