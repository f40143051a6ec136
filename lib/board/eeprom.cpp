// SPDX-License-Identifier: MIT
// Reads the calibration partition: the unit's MAC addresses, board id and revision, and the calibration of the radio.
#include "board/eeprom.hpp"

#include <mtd/mtd-user.h>
#include <string.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <optional>

#include "board/partition.hpp"
#include "util/observe.hpp"
#include "util/text.hpp"

namespace kvrn {
namespace {

constexpr std::size_t smallest_image = 4096;
constexpr std::size_t radio_offset = 4096;

// Possible positions of a calibration block in the radio data, in words. The last one is used without a check.
constexpr std::uint32_t checked_blocks[]{256 / 2, 128 / 2};
constexpr std::uint32_t fallback_block = 512 / 2;
constexpr std::uint32_t longest_block = 4096;  // bytes

constexpr std::uint32_t calibration = reading(KVRN_SOURCE_BOARD, KVRN_FACT_CALIBRATION);

Eeprom not_readable(const char* path) {
  tell_failed(path, calibration);
  return nullptr;
}

bool block_is_valid(const ar7240_eeprom& image, std::uint32_t start) {
  const std::uint32_t length = radio_word(image, start);
  if (length == 0 || length > longest_block) return false;
  std::uint16_t sum = 0;
  for (std::uint32_t i = 0; i < length / 2; ++i) sum ^= radio_word(image, start + i);
  return sum == 0xFFFF;
}

std::uint32_t choose_block(const ar7240_eeprom& image) {
  for (const std::uint32_t start : checked_blocks)
    if (block_is_valid(image, start)) return start;
  return fallback_block;
}

}  // namespace

Eeprom read_eeprom() {
  int error = 0;
  const auto partition = find_calibration_partition(&error);
  if (!partition) {
    tell(partitions_file, calibration, error != 0 ? KVRN_OUTCOME_FAILED : KVRN_OUTCOME_REFUSED, error);
    return nullptr;
  }
  const Text<32> path("/dev/mtd%d", *partition);
  const Fd device = Fd::open(path.c_str(), O_RDONLY);
  mtd_info_user info{};
  if (!device || ::ioctl(device.get(), MEMGETINFO, &info) < 0) return not_readable(path.c_str());
  const Text<32> block_path("/dev/mtdblock%d", *partition);
  const Fd fd = Fd::open(block_path.c_str(), O_RDONLY);
  const Mapping flash = fd ? Mapping(fd.get(), info.size) : Mapping();
  if (!flash) return not_readable(block_path.c_str());
  // A partition may be smaller than its reported size. A page behind its end must not be accessed.
  const off_t end = std::max<off_t>(::lseek(fd.get(), 0, SEEK_END), 0);
  const auto available = std::min<std::uint64_t>(info.size, static_cast<std::uint64_t>(end));
  Eeprom image = parse_eeprom({static_cast<const std::uint8_t*>(flash.get()), static_cast<std::size_t>(available)});
  tell(block_path.c_str(), calibration, image ? KVRN_OUTCOME_ANSWERED : KVRN_OUTCOME_REFUSED, 0);
  return image;
}

Eeprom parse_eeprom(std::span<const std::uint8_t> flash) {
  if (flash.size() < smallest_image) return nullptr;
  Eeprom image(static_cast<ar7240_eeprom*>(::calloc(1, sizeof(ar7240_eeprom))));
  if (!image) return nullptr;
  ::memcpy(image->board_copy, flash.data(), sizeof image->board_copy);
  const std::size_t radio_bytes = std::min(flash.size() - radio_offset, sizeof image->radio_copy);
  ::memcpy(static_cast<void*>(image->radio_copy), flash.data() + radio_offset, radio_bytes);
  image->board = image->board_copy;
  image->radio = image->radio_copy;
  image->cal = image->radio_copy + choose_block(*image);
  return image;
}

std::uint16_t radio_word(const ar7240_eeprom& image, std::uint32_t index) {
  return index < KVRN_EEPROM_RADIO_WORDS ? std::uint16_t{image.radio_copy[index]} : std::uint16_t{0};
}

std::uint16_t calibration_word(const ar7240_eeprom& image, std::uint32_t index) {
  if (index >= KVRN_EEPROM_RADIO_WORDS) return 0;
  return radio_word(image, static_cast<std::uint32_t>(image.cal - image.radio_copy) + index);
}

}  // namespace kvrn

ar7240_eeprom* ar7240_eeprom_parse() { return kvrn::read_eeprom().release(); }

ar7240_eeprom* ar7240_eeprom_parsemem(const uint8_t* flash, int size) {
  if (flash == nullptr || size < 0) return nullptr;
  return kvrn::parse_eeprom({flash, static_cast<std::size_t>(size)}).release();
}

void ar7240_eeprom_free(ar7240_eeprom* image) { const kvrn::Eeprom owned(image); }

uint16_t ar7240_rd_get(const ar7240_eeprom* image, uint32_t index) {
  return image == nullptr ? uint16_t{0} : kvrn::radio_word(*image, index);
}

uint16_t ar7240_rd_base_get(const ar7240_eeprom* image, uint32_t index) {
  return image == nullptr ? uint16_t{0} : kvrn::calibration_word(*image, index);
}
