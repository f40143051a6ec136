// SPDX-License-Identifier: MIT
// Identification within one SoC family: chooses the row, and writes the data of the unit into it.
#include "board/family.hpp"

#include <string.h>

#include <span>

#include "board/eeprom.hpp"
#include "board/soc.hpp"
#include "board/tables.hpp"

namespace kvrn {
namespace {

using Mac = std::uint8_t[6];

// The first 20 bytes of the partition.
struct BoardData {
  Mac mac[2];
  kvrn_be_u16 system_id;
  kvrn_be_u16 magic;
  kvrn_be_u32 revision;
};
static_assert(sizeof(BoardData) == KVRN_EEPROM_BOARD_SIZE);

constexpr std::uint16_t board_data_magic = 0x0777;

BoardData board_data(const ar7240_eeprom& image) {
  BoardData data;
  ::memcpy(static_cast<void*>(&data), image.board, sizeof data);
  return data;
}

// What is known about this unit. Unknown values are zero.
struct Unit {
  kvrn_board_record* row = nullptr;
  std::uint16_t id = 0;
  std::uint16_t vendor = 0;
  std::uint16_t calibration = 0;
  Mac base_mac{};
  Mac port_mac[2]{};
};

void set_id(Unit& unit, std::uint16_t id, std::uint16_t vendor) {
  unit.id = id;
  unit.vendor = vendor;
}

bool has_id(const kvrn_board_record& row, std::uint32_t arch, std::uint16_t id) {
  return row.soc_type == arch && (row.system_id == id || (row.radio_count != 0 && row.radio_subsys_id == id));
}

// The best row: the row with the highest minimum revision that the board's revision reaches, else a row without a
// minimum. An erased revision word (0xFFFFFFFF) reaches no minimum.
kvrn_board_record* match_ar724x(std::uint32_t arch, std::uint16_t id, std::uint32_t revision) {
  kvrn_board_record* best = nullptr;
  for (kvrn_board_record& row : ar724x_table()) {
    if (!has_id(row, arch, id)) continue;
    const bool reached = revision != UINT32_MAX && revision >= row.min_revision;
    const bool better = best == nullptr ? row.min_revision == 0 || reached
                                        : row.min_revision != 0 && reached && best->min_revision < row.min_revision;
    if (better) best = &row;
  }
  return best;
}

kvrn_board_record* match_qca953x(std::uint32_t arch, std::uint16_t id) {
  for (kvrn_board_record& row : qca953x_table())
    if (has_id(row, arch, id)) return &row;
  return nullptr;
}

void put_word(std::uint8_t* mac, std::uint16_t word) {
  mac[0] = static_cast<std::uint8_t>(word >> 8);
  mac[1] = static_cast<std::uint8_t>(word);
}

// The words of the radio data that may hold the id. The vendor is the word before the id.
constexpr std::uint32_t id_words[]{20, 11};

void identify_by_radio(Unit& unit, const ar7240_eeprom& image, const BoardData& data, std::uint32_t arch) {
  const std::uint16_t mark = radio_word(image, 0);
  if (mark != 0xA55A && mark != 0x5AA5) return;
  for (const std::uint32_t word : id_words) {
    set_id(unit, radio_word(image, word), radio_word(image, word - 1));
    unit.row = match_ar724x(arch, unit.id, data.revision);
    if (unit.row != nullptr) break;
  }
  unit.calibration = calibration_word(image, 4);
  if (unit.row != nullptr && unit.row->radio_count != 0) {
    for (std::uint32_t i = 0; i < 3; ++i) put_word(unit.base_mac + 2 * i, calibration_word(image, 6 + i));
  } else {
    ::memcpy(unit.base_mac, data.mac[0], sizeof unit.base_mac);
  }
}

// Identifies the board by the board data. @return whether the magic number is right
bool identify_by_board_data(Unit& unit, const BoardData& data) {
  if (data.magic != board_data_magic) return false;
  set_id(unit, data.system_id, board_data_magic);
  ::memcpy(unit.base_mac, data.mac[0], sizeof unit.base_mac);
  return true;
}

void put_unit(kvrn_board_record& record, const Unit& unit) {
  ::memcpy(record.base_mac, unit.base_mac, sizeof record.base_mac);
  for (unsigned i = 0; i < KVRN_BOARD_ETH_MAX; ++i)
    ::memcpy(record.eth[i].mac, unit.port_mac[i], sizeof record.eth[i].mac);
  record.radio_subsys_id = unit.id;
  record.radio_subsys_vendor_id = unit.vendor;
}

void put_calibration(kvrn_board_record& record, std::uint16_t word) {
  constexpr std::uint16_t erased = 0x3FFF;
  std::uint32_t flag = 0;
  std::uint32_t value = word & 0x3FFF;
  if ((word & 0x8000) != 0)
    flag = 0x10000;
  else if (value == erased)
    value = 0;
  else
    flag = 0x20000;
  if (value == 0) return;
  record.cal_power = value;
  record.features |= flag;
}

void clamp_mtu(kvrn_board_eth& port, std::uint16_t limit) {
  if (port.max_mtu > limit) port.max_mtu = limit;
}

void clamp_all(kvrn_board_record& record, std::uint16_t limit) {
  for (unsigned i = 0; i < record.eth_count && i < KVRN_BOARD_ETH_MAX; ++i) clamp_mtu(record.eth[i], limit);
}

constexpr std::uint16_t highest_mtu = 2024;

void put_mtu_limits(kvrn_board_record& record) {
  if ((record.cpu_revision & 0xFFF00) == 0) {
    clamp_all(record, 1524);
  } else {
    clamp_mtu(record.eth[0], 9192);
    if (record.eth_count > 1) clamp_mtu(record.eth[1], highest_mtu);
  }
  // This lowers the 9192 above. Drivers size their buffers by the result.
  clamp_all(record, highest_mtu);
}

}  // namespace

const kvrn_board_record& identify_ar724x(std::uint32_t arch) {
  Unit unit;
  if (const Eeprom image = read_eeprom()) {
    const BoardData data = board_data(*image);
    identify_by_radio(unit, *image, data, arch);
    if (unit.row == nullptr && identify_by_board_data(unit, data))
      unit.row = match_ar724x(arch, unit.id, data.revision);
    ::memcpy(unit.port_mac, data.mac, sizeof unit.port_mac);
  }
  kvrn_board_record& record = unit.row != nullptr ? *unit.row : ar724x_generic();
  put_unit(record, unit);
  put_calibration(record, unit.calibration);
  record.cpu_revision = cpu_revision();
  put_mtu_limits(record);
  return record;
}

const kvrn_board_record& identify_qca953x(std::uint32_t arch) {
  Unit unit;
  if (const Eeprom image = read_eeprom()) {
    const BoardData data = board_data(*image);
    if (identify_by_board_data(unit, data)) unit.row = match_qca953x(arch, unit.id);
    ::memcpy(unit.port_mac, data.mac, sizeof unit.port_mac);
  }
  kvrn_board_record& record = unit.row != nullptr ? *unit.row : qca953x_generic();
  put_unit(record, unit);
  record.cpu_revision = cpu_revision();
  clamp_all(record, highest_mtu);
  return record;
}

}  // namespace kvrn

const kvrn_board_record* ar7240_identify(uint32_t arch) KVRN_DOOR(identify_ar724x);

const kvrn_board_record* ar953x_identify(uint32_t arch) KVRN_DOOR(identify_qca953x);
