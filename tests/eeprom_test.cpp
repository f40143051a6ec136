// SPDX-License-Identifier: MIT
// The calibration partition: finding it, and images of every size.

#include <vector>

#include "tests/device.hpp"
#include "tests/flash_image.hpp"

namespace {

using Image = kvrnpp::EepromImage;

// From a block of exactly the image's size, so that a sanitizer sees every byte read past its end.
Image parse(const FlashImage& flash) {
  const std::vector<uint8_t> exact(flash.bytes.begin(), flash.bytes.end());
  return Image(ar7240_eeprom_parsemem(exact.data(), static_cast<int>(exact.size())));
}

long chosen_block(const Image& image) { return static_cast<long>(image->cal - image->radio) * 2; }

}  // namespace

TEST(EepromImage, CopiesBoardAndRadioData) {
  const FlashImage flash = FlashImage(0x10000).macs().board_id(0xEE5A).revision(0x01020304).radio_word(2047, 0x1234);
  const Image image = parse(flash);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->radio, image->radio_copy);
  EXPECT_EQ(std::memcmp(image->board, flash.bytes.data(), 20), 0);
  EXPECT_EQ(ar7240_rd_get(image.get(), 2047), 0x1234);
  for (const uint32_t past : {2048U, 65536U, 0x80000000U, UINT32_MAX}) {
    EXPECT_EQ(ar7240_rd_get(image.get(), past), 0) << past;
    EXPECT_EQ(ar7240_rd_base_get(image.get(), past), 0) << past;
  }
  EXPECT_EQ(chosen_block(image), 512);
  EXPECT_EQ(ar7240_rd_base_get(image.get(), 2047 - 256), 0x1234);
  EXPECT_EQ(ar7240_rd_base_get(image.get(), 2048 - 256), 0);
  EXPECT_EQ(ar7240_rd_get(nullptr, 0), 0);
  EXPECT_EQ(ar7240_rd_base_get(nullptr, 0), 0);
  ar7240_eeprom_free(nullptr);
}

TEST(EepromImage, ShortImagesReadAsZeroPastTheirEnd) {
  for (const std::size_t size : {0UL, 1UL, 20UL, 4095UL}) EXPECT_EQ(parse(FlashImage(size)), nullptr) << size;
  for (const std::size_t size : {4096UL, 4097UL, 4353UL, 8191UL, 8192UL}) {
    const Image image = parse(FlashImage(size));
    ASSERT_NE(image, nullptr) << size;
    for (uint32_t i = 0; i < 2048; ++i) {
      const std::size_t at = 4096 + 2 * i;
      const unsigned expected = at + 1 < size ? 0xFFFF : at < size ? 0xFF00 : 0;
      ASSERT_EQ(ar7240_rd_get(image.get(), i), expected) << size << ' ' << i;
    }
  }
  const uint8_t byte = 0;
  EXPECT_EQ(ar7240_eeprom_parsemem(&byte, -1), nullptr);
  EXPECT_EQ(ar7240_eeprom_parsemem(&byte, INT_MIN), nullptr);
  EXPECT_EQ(ar7240_eeprom_parsemem(nullptr, INT_MAX), nullptr);
}

TEST(EepromImage, ChoosesTheCalibrationBlockByItsChecksum) {
  const auto empty = [] { return FlashImage(0x2000); };
  // Every word 0 but the first two: length, and what makes the sum all ones.
  const auto zeros = [](std::size_t offset, unsigned length) {
    return FlashImage(0x2000, '\0').radio_word(offset / 2, length).radio_word(offset / 2 + 1, ~length & 0xFFFF);
  };
  const std::tuple<const char*, FlashImage, long> cases[] = {
      {"both hold", empty().calibration(128, 1).calibration(256, 1), 256},
      {"the second holds", empty().calibration(128, 1).calibration(256, 1).word(FlashImage::radio + 256 + 8, 7), 128},
      {"erased", FlashImage(0x2000), 512},
      {"length 4", zeros(256, 4), 256},
      {"odd length", zeros(256, 5), 256},
      {"one word cannot sum up", zeros(256, 3), 512},
      {"length 0", zeros(256, 0), 512},
      {"longest, past the end of the data", zeros(256, 4096), 256},
      {"too long", zeros(256, 4097), 512},
      {"image ends in the block", FlashImage(0x1000 + 256 + 4).word(0x1100, 100).word(0x1102, ~100U & 0xFFFF), 256},
  };
  for (const auto& [what, flash, block] : cases) EXPECT_EQ(chosen_block(parse(flash)), block) << what;
}

TEST(EepromPartition, IsTheFirstOneWithTheName) {
  const std::string filler(256, ' ');
  const std::tuple<std::string, bool> cases[] = {
      {"mtd5: 00010000 00010000 \"EEPROM\"\n", true},
      {"mtd5: 00010000 00010000 \"ART\"", true},
      {"mtd0: 1 1 \"u-boot\"\nmtd5: 1 1 \"ART\"\nmtd6: 1 1 \"EEPROM\"\n", true},
      {"mtd6: 1 1 \"ART\"\nmtd5: 1 1 \"EEPROM\"\n", false},  // the first one is not there
      {"EEPROM\nabc7: ART\nmtdEEPROM\nmtd: ART\nmtd5: ART\n", true},
      {"mtd5: " + filler + "ART\n", false},             // beyond what is read as one line
      {filler + "mtd5: ART\n", true},                   // the rest of a long line is a line
      {"mtd5:" + std::string(248, ' ') + "ART", true},  // exactly one line
      {"mtd99999999999999999999: ART\n", false},
      {std::string(1 << 20, 'm'), false},
      {std::string("mtd5: \0ART\n", 11), false},
      {"", false},
  };
  Device device("four-source");
  const auto before = open_descriptors();
  for (const auto& [mtd, found] : cases) {
    device.file("/proc/mtd", mtd);
    EXPECT_EQ(Image(ar7240_eeprom_parse()) != nullptr, found) << mtd.substr(0, 300);
  }
  device.remove("/proc/mtd");
  EXPECT_EQ(ar7240_eeprom_parse(), nullptr);
  EXPECT_EQ(open_descriptors(), before);
}

TEST(EepromPartition, MayBeSmallerThanItClaims) {
  Device device("four-source");
  const auto before = open_descriptors();
  const std::tuple<const char*, std::size_t, bool> cases[] = {
      {"0x10000", 0x10000, true}, {"0x10000", 5000, true}, {"0x10000", 4096, true},
      {"0x10000", 4095, false},   {"0x10000", 0, false},   {"5000", 0x10000, true},
      {"4095", 0x10000, false},   {"0", 0x10000, false},   {"", 0x10000, true}};  // without a claim: what it has
  for (const auto& [claim, size, parsed] : cases) {
    device.file("/dev/mtd5", claim);
    device.file("/dev/mtdblock5", FlashImage(size).bytes);
    EXPECT_EQ(Image(ar7240_eeprom_parse()) != nullptr, parsed) << claim << ' ' << size;
  }
  // A sparse giant, and a claim that no int holds: nothing where the address space is too small.
  std::filesystem::resize_file(device.path("/dev/mtdblock5"), 1 << 30);
  for (const char* claim : {"0x40000000", "0xF0000000"}) {
    device.file("/dev/mtd5", claim);
    (void)Image(ar7240_eeprom_parse());
  }
  device.remove("/dev/mtdblock5");
  std::filesystem::create_directory(device.path("/dev/mtdblock5"));
  EXPECT_EQ(ar7240_eeprom_parse(), nullptr);
  device.remove("/dev/mtd5");
  EXPECT_EQ(ar7240_eeprom_parse(), nullptr);
  EXPECT_EQ(open_descriptors(), before);
}
