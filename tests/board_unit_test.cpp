// SPDX-License-Identifier: MIT
// What identification reads from the unit's calibration partition, and what it writes into the chosen record.

#include "tests/board_table.hpp"
#include "tests/device.hpp"
#include "tests/flash_image.hpp"

namespace {

const std::string no_mac(6, '\0');
const std::string first_mac = "\x02\x11\x12\x13\x14\x15";
const std::string second_mac = "\x02\x17\x18\x19\x1A\x1B";
const std::string calibration_mac = "\x02\xA1\xA2\xA3\xA4\xA5";

FlashImage radio_image(unsigned id, uint32_t revision, unsigned calibration = 0x0348) {
  return FlashImage()
      .macs()
      .revision(revision)
      .radio_word(0, 0xA55A)
      .radio_word(19, 0x0777)
      .radio_word(20, id)
      .calibration(256, calibration);
}

}  // namespace

TEST(Ar724xUnit, RevisionChoosesBetweenRowsOfOneId) {
  Device device("ar724x");
  const std::tuple<uint32_t, uint32_t> cases[] = {{0, 0}, {5, 0}, {6, 6}, {7, 6}, {0xFFFFFFFE, 6}, {0xFFFFFFFF, 0}};
  for (const auto& [revision, min_revision] : cases) {
    device.file("/dev/mtdblock5", radio_image(0xE1C5, revision).bytes);
    const kvrn_board_record* board = ar7240_identify(3);
    EXPECT_EQ(board->system_id, 0xE1C5);
    EXPECT_EQ(board->min_revision, min_revision) << revision;
    EXPECT_EQ(board->decoded, 0);
  }
  EXPECT_EQ(ar7240_identify(5), &ar724x_generic()) << "the rows are of another family";
}

TEST(Ar724xUnit, IdentityComesFromTheRadioDataOrElseFromTheBoardData) {
  constexpr unsigned nobody = 0x1234;
  const auto image = [] { return FlashImage().macs().revision(1).radio_word(0, 0xA55A).calibration(256, 0); };
  const std::string &cal = calibration_mac, &first = first_mac;
  const std::tuple<const char*, FlashImage, uint16_t, uint16_t, uint16_t, std::string> cases[] = {
      // row 0: the generic record
      {"words 19 and 20", image().radio_word(19, 0xAAAA).radio_word(20, 0xE205), 0xE205, 0xE205, 0xAAAA, cal},
      {"nothing is swapped", image().radio_word(0, 0x5AA5).radio_word(20, 0xE205), 0xE205, 0xE205, 0xFFFF, cal},
      {"10 and 11", image().radio_word(10, 0xBBBB).radio_word(11, 0xE205).radio_word(20, nobody), 0xE205, 0xE205,
       0xBBBB, cal},
      {"no radio on the board", image().radio_word(20, 0xE700), 0xE700, 0xE700, 0xFFFF, first},
      {"radio before board data", image().radio_word(20, 0xE205).board_id(0xE700), 0xE205, 0xE205, 0xFFFF, cal},
      {"unknown radio", image().radio_word(20, nobody).board_id(0xE209), 0xE209, 0xE209, 0x0777, first},
      {"no radio data", image().radio_word(0, 0xFFFF).board_id(0xE701), 0xE701, 0xE701, 0x0777, first},
      {"unknown 10, 11", image().radio_word(10, 0xBBBB).radio_word(11, 0x4321).radio_word(20, nobody), 0, 0x4321,
       0xBBBB, first},
      {"unknown in the board data", image().board_id(nobody), 0, nobody, 0x0777, first},
      {"nothing", image().radio_word(0, 0xFFFF), 0, 0, 0, no_mac},
  };
  Device device("ar724x");
  for (const auto& [what, flash, row, id, vendor, base_mac] : cases) {
    device.file("/dev/mtdblock5", flash.bytes);
    const kvrn_board_record* board = ar7240_identify(3);
    EXPECT_EQ(row != 0 ? board->system_id : board == &ar724x_generic() ? 0 : -1, row) << what;
    EXPECT_EQ(board->radio_subsys_id, id) << what;
    EXPECT_EQ(board->radio_subsys_vendor_id, vendor) << what;
    EXPECT_EQ(bytes_of(board->base_mac), base_mac) << what;
    EXPECT_EQ(bytes_of(board->eth[0].mac), first_mac) << what;
    EXPECT_EQ(bytes_of(board->eth[1].mac), second_mac) << what;
  }
  device.remove("/proc/mtd");
  EXPECT_EQ(ar7240_identify(3), &ar724x_generic());
  EXPECT_EQ(bytes_of(ar724x_generic().eth[1].mac), no_mac);
}

TEST(Ar724xUnit, CalibrationValueIsTakenWhereItSaysSomething) {
  // The word, its value (0: what the row had is kept) and the flag that says what it is.
  const std::tuple<unsigned, uint32_t, uint32_t> cases[] = {{0x0348, 0x0348, 0x20000},
                                                            {0x8001, 1, 0x10000},
                                                            {0xFFFF, 0x3FFF, 0x10000},
                                                            {0x3FFF, 0, 0},
                                                            {0x7FFF, 0, 0},
                                                            {0xC000, 0, 0}};
  Device device("ar724x");
  std::size_t row = 0;
  for (const auto& [word, value, features] : cases) {
    const kvrn_board_record& expected = ar724x_rows()[row++];
    const uint32_t kept = expected.cal_power;
    device.file("/dev/mtdblock5", radio_image(expected.system_id, 1, word).bytes);
    ASSERT_EQ(ar7240_identify(3), &expected);
    EXPECT_EQ(expected.cal_power, value != 0 ? value : kept) << word;
    EXPECT_EQ(expected.features, features) << word;
  }
}

TEST(Ar724xUnit, MtuLimitsFollowTheSocRevision) {
  const auto rows = ar724x_rows();
  constexpr uint32_t no_memory = 0xFFFFFFFE;  // what stands there without /dev/mem
  const std::tuple<uint32_t, int, uint16_t> cases[] = {
      {0x00000101, 1, 2024}, {0x000000FF, 1, 1524}, {0xFFF000FF, 2, 1524}, {0x00080000, 2, 2024}, {no_memory, 1, 2024}};
  Device device("ar724x");
  for (const auto& [revision, ports, mtu] : cases) {
    // The first row that nobody touched yet, with so many gigabit ports.
    std::size_t at = 0;
    while (rows[at].eth_count != ports || rows[at].eth[0].max_mtu != 0x4000 || rows[at].radio_count == 0) ++at;
    const kvrn_board_record& row = rows[at];
    if (revision == no_memory) device.remove("/dev/mem");
    std::fstream memory(device.path("/dev/mem"), std::ios::in | std::ios::out | std::ios::binary);
    memory.seekp(0x18060090).write(bytes_of(revision).data(), 4).flush();
    device.file("/dev/mtdblock5", radio_image(row.system_id, 1).bytes);
    ASSERT_EQ(ar7240_identify(3), &row);
    EXPECT_EQ(row.cpu_revision, revision);
    for (int port = 0; port < ports; ++port) EXPECT_EQ(row.eth[port].max_mtu, mtu) << revision;
  }
}

TEST(Qca953xUnit, NeedsTheBoardDatasMagicAndIsGenericWithoutData) {
  const std::tuple<const char*, FlashImage, const kvrn_board_record*, uint16_t, uint16_t, std::string> cases[] = {
      {"three-source", FlashImage().macs().board_id(0xEE5B), ar953x_identify_system(0xEE5B), 0xEE5B, 0x0777, first_mac},
      {"unknown id", FlashImage().macs().board_id(0x1234), &qca953x_generic(), 0x1234, 0x0777, first_mac},
      {"no magic", FlashImage().macs().board_id(0xEE5B).word(14, 0x7707), &qca953x_generic(), 0, 0, no_mac},
      {"radio data is not asked", radio_image(0xEE5B, 1), &qca953x_generic(), 0, 0, no_mac},
  };
  Device device("four-source");
  for (const auto& [what, flash, row, id, vendor, base_mac] : cases) {
    device.file("/dev/mtdblock5", flash.bytes);
    const kvrn_board_record* board = ar953x_identify(5);
    EXPECT_EQ(board, row) << what;
    EXPECT_EQ(board->radio_subsys_id, id) << what;
    EXPECT_EQ(board->radio_subsys_vendor_id, vendor) << what;
    EXPECT_EQ(bytes_of(board->base_mac), base_mac) << what;
    EXPECT_EQ(bytes_of(board->eth[0].mac), first_mac) << what;
    EXPECT_EQ(bytes_of(board->eth[1].mac), second_mac) << what;
    EXPECT_EQ(board->features, 0U) << what;
    for (int port = 0; port < board->eth_count; ++port) EXPECT_LE(board->eth[port].max_mtu, 2024) << what;
  }
  device.remove("/dev/mtdblock5");
  device.file("/dev/mem", "");
  const auto before = open_descriptors();
  const kvrn_board_record* board = board_identify();
  EXPECT_EQ(open_descriptors(), before);
  EXPECT_EQ(board, &qca953x_generic());
  EXPECT_EQ(board->radio_subsys_id + board->radio_subsys_vendor_id, 0);
  EXPECT_EQ(bytes_of(board->eth[0].mac), no_mac);
  EXPECT_EQ(board->cpu_revision, 0xFFFFFFFF) << "a file that ends in front of the register";
}
