// SPDX-License-Identifier: MIT
// A board model as one readable line, and its conversion into the record that programs use.
#pragma once

#include <kvrn/board.h>

#include <cstdint>
#include <string_view>

#include "board/scramble.hpp"

namespace kvrn {

// Number and type of the Ethernet ports. Gigabit ports (ge) pass larger frames.
enum class Ports : std::uint8_t { fe1, fe2, ge1, ge2 };

// LED layouts: four or six signal bars, link LEDs, or power and status only.
enum class Leds : std::uint8_t { bars4, bars6, links, two };

struct Model {
  std::string_view name;
  std::string_view code;  // at most 5 characters, unique
  std::uint16_t id;
  Ports ports;
  Leds leds;
  std::uint8_t poe_gpio = 0;  // packed number of the line that powers PoE on the last port
  std::uint32_t min_revision = 0;
  bool radio = true;
  std::string_view uuid_a = {};
  std::string_view uuid_b = {};
};

inline constexpr std::uint16_t radio_pci_vendor = 0x168C;
inline constexpr std::uint16_t unclamped_mtu = 0x4000;
inline constexpr std::uint16_t fast_ethernet_mtu = 2024;
inline constexpr std::uint32_t default_cal_power = 840;

template <std::size_t Size>
constexpr void put_text(char (&field)[Size], std::string_view text) {
  // A text that is too long writes out of range, which is an error at compile time.
  for (std::size_t i = 0; i < text.size(); ++i) field[i] = text[i];
}

constexpr void put_port(kvrn_board_eth& port, bool present, std::uint16_t max_mtu) {
  port.present = present ? 1 : 0;
  port.constants[3] = 4;
  port.constants[4] = 0xFF;
  port.max_mtu = max_mtu;
}

// Role words: bits 0-3 are the number of a signal bar, bits 4-7 the number of a link LED, bit 28 is power, bit 29 is
// status.
constexpr void put_leds(kvrn_board_record& record, Leds leds, unsigned ports) {
  unsigned next = 0;
  record.leds[next++].role = 1U << 28;
  if (leds != Leds::links) record.leds[next++].role = 1U << 29;
  if (leds == Leds::two) return;
  for (unsigned link = 1; link <= ports; ++link) record.leds[next++].role = link << 4;
  const unsigned bars = leds == Leds::bars4 ? 4 : leds == Leds::bars6 ? 6 : 0;
  for (unsigned bar = 1; bar <= bars; ++bar) record.leds[next++].role = bar;
}

constexpr kvrn_board_record common_record(std::uint32_t soc_type, std::uint16_t id) {
  kvrn_board_record record{};
  record.soc_type = soc_type;
  record.param_a = 30;
  record.param_b = 150;
  record.system_id = id;
  record.cal_power = default_cal_power;
  return record;
}

// The radio has the id of its board.
constexpr void put_radio(kvrn_board_record& record) {
  record.radio_count = 1;
  record.radio_index = 1;
  record.radio_vendor_id = radio_pci_vendor;
  record.radio_subsys_id = record.system_id;
}

constexpr kvrn_board_record expand(const Model& model, std::uint32_t soc_type) {
  kvrn_board_record record = common_record(soc_type, model.id);
  put_text(record.name, model.name);
  put_text(record.platform_code, model.code);
  scramble(record.name);
  scramble(record.platform_code);
  record.eth_count = model.ports == Ports::fe1 || model.ports == Ports::ge1 ? 1 : 2;
  const bool gigabit = model.ports == Ports::ge1 || model.ports == Ports::ge2;
  for (unsigned i = 0; i < record.eth_count; ++i)
    put_port(record.eth[i], true, gigabit ? unclamped_mtu : fast_ethernet_mtu);
  record.eth[record.eth_count - 1].poe_gpio = model.poe_gpio;
  if (model.radio) put_radio(record);
  record.min_revision = model.min_revision;
  put_leds(record, model.leds, record.eth_count);
  put_text(record.uuid_a, model.uuid_a);
  put_text(record.uuid_b, model.uuid_b);
  return record;
}

// The generic record of a family, for boards that match no model.
constexpr kvrn_board_record generic_record(std::uint32_t soc_type, std::string_view name) {
  kvrn_board_record record = common_record(soc_type, 0xE000);
  put_text(record.name, name);
  record.eth_count = 2;
  put_port(record.eth[0], true, unclamped_mtu);
  put_port(record.eth[1], false, unclamped_mtu);
  record.reserved5[674] = 0xFF;
  record.reserved5[675] = 7;
  record.decoded = 1;
  return record;
}

}  // namespace kvrn
