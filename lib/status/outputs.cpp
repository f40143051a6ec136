// SPDX-License-Identifier: MIT
// DC outputs and PoE: which are on, and the lines that switch them.
#include <kvrn/hw.h>
#include <kvrn/status.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "board/identify.hpp"
#include "board/platform.hpp"
#include "cfg/parse.hpp"
#include "cfg/query.hpp"

namespace {

const kvrn_board_eth* port(unsigned index) {
  const kvrn_board_record& board = kvrn::board();
  const unsigned count = std::min<unsigned>(board.eth_count, KVRN_BOARD_ETH_MAX);
  return index < count && board.eth[index].present != 0 ? &board.eth[index] : nullptr;
}

// The board's PoE lines, 0 where a port has none; collected once.
const std::array<uint8_t, KVRN_BOARD_ETH_MAX>& poe_lines() {
  static std::array<uint8_t, KVRN_BOARD_ETH_MAX> lines;
  static bool known = false;
  if (!known) {
    for (unsigned i = 0; i < lines.size(); ++i) lines[i] = port(i) == nullptr ? uint8_t{0} : port(i)->poe_gpio;
    known = true;
  }
  return lines;
}

// The index in "eth0" or "eth1"; any other name, "eth0.5" among them, is no port.
int port_index(const char* device) {
  const std::string_view name = device == nullptr ? std::string_view() : device;
  return name == "eth0" ? 0 : name == "eth1" ? 1 : -1;
}

// A line that cannot be read (255) counts as on: an output must not pass for safe because a chip is gone.
bool is_on(uint32_t line) { return ::gpio_read(line) != 0; }

}  // namespace

int is_dc_out_enabled(int output) {
  if (output == 0)
    for (const uint8_t line : poe_lines())
      if (line != 0 && is_on(line)) return 1;
  if (output < 0 || static_cast<std::size_t>(output) >= kvrn::sense_lines.size()) return 1;  // programs rely on it
  return is_on(kvrn::sense_lines[static_cast<std::size_t>(output)]) ? 1 : 0;
}

void get_dc_gpio(int output, uint8_t* lines, uint32_t* level) {
  const kvrn::OutputLines& table = kvrn::platform().output_lines;
  std::array<uint8_t, 3> row{};
  if (output >= 0) row = table[std::min(static_cast<std::size_t>(output), table.size() - 1)];
  if (lines != nullptr) std::copy(row.begin(), row.end(), lines);
  if (level != nullptr) *level = 0;
}

int dc_get_output(int8_t output) {
  if (output < 0) {
    const int line = ::get_poe_gpio((output & 127) + 1);
    return line == 0 ? -1 : ::gpio_read(static_cast<uint32_t>(line));
  }
  uint8_t lines[3];
  uint32_t level = 0;
  ::get_dc_gpio(output + 1, lines, &level);
  return std::ranges::any_of(
      lines, [level](uint8_t line) { return line != 0 && static_cast<uint32_t>(::gpio_read(line)) != level; });
}

int get_poe_gpio(int interface_index) {
  const kvrn::Config config = kvrn::load(kvrn::device_config);
  const kvrn::Pattern key = kvrn::pattern_of("netconf.%d.devname", interface_index);
  const int index = port_index(kvrn::find_value(config.get(), key));
  const kvrn_board_eth* entry = index < 0 ? nullptr : port(static_cast<unsigned>(index));
  return entry == nullptr ? 0 : entry->poe_gpio;
}

uint8_t get_poe_status(int interface_index) {
  const kvrn::Config config = kvrn::load(kvrn::device_config);
  return kvrn::find_switch(config.get(), kvrn::pattern_of("netconf.%d.poe", interface_index)).value_or(false) ? 1 : 0;
}
