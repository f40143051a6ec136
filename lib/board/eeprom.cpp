// SPDX-License-Identifier: MIT
// The calibration partition: the unit's MAC addresses, board id and revision, and the radio's calibration.
#include <kvrn/board.h>
#include <limits.h>
#include <mtd/mtd-user.h>
#include <string.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <optional>

#include "board/partition.hpp"
#include "util/handle.hpp"
#include "util/text.hpp"

namespace {

constexpr std::size_t smallest_image = 4096;
constexpr std::size_t radio_offset = 4096;

// Where a calibration block may lie in the radio data, in words; the last is taken unchecked.
constexpr uint32_t checked_blocks[]{256 / 2, 128 / 2};
constexpr uint32_t fallback_block = 512 / 2;
constexpr uint32_t longest_block = 4096;  // bytes

std::optional<std::size_t> claimed_size(int partition) {
  const kvrn::Text<32> path("/dev/mtd%d", partition);
  const kvrn::Fd fd = kvrn::Fd::open(path.c_str(), O_RDONLY);
  mtd_info_user info{};
  if (!fd || ::ioctl(fd.get(), MEMGETINFO, &info) < 0) return std::nullopt;
  return info.size;
}

uint16_t word_at(const ar7240_eeprom& image, uint32_t index) {
  return index < KVRN_EEPROM_RADIO_WORDS ? uint16_t{image.radio_copy[index]} : uint16_t{0};
}

bool block_is_valid(const ar7240_eeprom& image, uint32_t start) {
  const uint32_t length = word_at(image, start);
  if (length == 0 || length > longest_block) return false;
  uint16_t sum = 0;
  for (uint32_t i = 0; i < length / 2; ++i) sum ^= word_at(image, start + i);
  return sum == 0xFFFF;
}

uint32_t choose_block(const ar7240_eeprom& image) {
  for (const uint32_t start : checked_blocks)
    if (block_is_valid(image, start)) return start;
  return fallback_block;
}

}  // namespace

ar7240_eeprom* ar7240_eeprom_parse() {
  const auto partition = kvrn::find_calibration_partition();
  if (!partition) return nullptr;
  const auto claimed = claimed_size(*partition);
  if (!claimed) return nullptr;
  const kvrn::Text<32> path("/dev/mtdblock%d", *partition);
  const kvrn::Fd fd = kvrn::Fd::open(path.c_str(), O_RDONLY);
  if (!fd) return nullptr;
  const kvrn::Mapping flash(fd.get(), *claimed);
  if (!flash) return nullptr;
  // A partition may be smaller than it claims; a page behind its end must not be touched.
  const off_t end = std::max<off_t>(::lseek(fd.get(), 0, SEEK_END), 0);
  const auto available = std::min<uint64_t>({*claimed, static_cast<uint64_t>(end), INT_MAX});
  return ::ar7240_eeprom_parsemem(static_cast<const uint8_t*>(flash.get()), static_cast<int>(available));
}

ar7240_eeprom* ar7240_eeprom_parsemem(const uint8_t* flash, int size) {
  if (flash == nullptr || size < static_cast<int>(smallest_image)) return nullptr;
  auto* image = static_cast<ar7240_eeprom*>(::calloc(1, sizeof(ar7240_eeprom)));
  if (image == nullptr) return nullptr;
  ::memcpy(image->board_copy, flash, sizeof image->board_copy);
  const std::size_t radio_bytes = std::min(static_cast<std::size_t>(size) - radio_offset, sizeof image->radio_copy);
  ::memcpy(static_cast<void*>(image->radio_copy), flash + radio_offset, radio_bytes);
  image->board = image->board_copy;
  image->radio = image->radio_copy;
  image->cal = image->radio_copy + choose_block(*image);
  return image;
}

void ar7240_eeprom_free(ar7240_eeprom* image) { ::free(image); }

uint16_t ar7240_rd_get(const ar7240_eeprom* image, uint32_t index) {
  return image == nullptr ? uint16_t{0} : word_at(*image, index);
}

uint16_t ar7240_rd_base_get(const ar7240_eeprom* image, uint32_t index) {
  if (image == nullptr || index >= KVRN_EEPROM_RADIO_WORDS) return 0;
  return word_at(*image, static_cast<uint32_t>(image->cal - image->radio_copy) + index);
}
