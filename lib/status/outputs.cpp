// SPDX-License-Identifier: MIT
// DC outputs and PoE: whether they are on, and the lines that switch them.
#include "status/outputs.hpp"

#include <kvrn/hw.h>
#include <kvrn/status.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "board/identify.hpp"
#include "board/platform.hpp"
#include "cfg/parse.hpp"
#include "cfg/query.hpp"
#include "hw/gpio.hpp"
#include "util/door.hpp"
#include "util/observe.hpp"

namespace {

const kvrn_board_eth* port(unsigned index) {
  const kvrn_board_record& board = kvrn::board();
  const unsigned count = std::min<unsigned>(board.eth_count, KVRN_BOARD_ETH_MAX);
  return index < count && board.eth[index].present != 0 ? &board.eth[index] : nullptr;
}

// The PoE lines of the board, with 0 for a port without one. They are collected once.
const std::array<uint8_t, KVRN_BOARD_ETH_MAX>& poe_lines() {
  static std::array<uint8_t, KVRN_BOARD_ETH_MAX> lines;
  static bool known = false;
  if (!known) {
    for (unsigned i = 0; i < lines.size(); ++i) lines[i] = port(i) == nullptr ? uint8_t{0} : port(i)->poe_gpio;
    known = true;
  }
  return lines;
}

// The port index of the names "eth0" and "eth1". Any other name, for example "eth0.5", is no port.
int port_index(const char* device) {
  const std::string_view name = device == nullptr ? std::string_view() : device;
  return name == "eth0" ? 0 : name == "eth1" ? 1 : -1;
}

// The lines that switch an output.
using Lines = kvrn::OutputLines::value_type;
Lines lines_of(int output) {
  const kvrn::OutputLines& table = kvrn::platform().output_lines;
  if (output < 0) return {};
  return table[std::min(static_cast<std::size_t>(output), table.size() - 1)];
}
constexpr uint32_t on_level = 0;

int poe_line(int interface_index) KVRN_INNER(poe_line);
int poe_line(int interface_index) {
  const kvrn::Config config(kvrn::load(kvrn::device_config));
  const kvrn::Pattern key = kvrn::pattern_of("netconf.%d.devname", interface_index);
  const int index = port_index(kvrn::find_value(config.get(), key));
  const kvrn_board_eth* entry = index < 0 ? nullptr : port(static_cast<unsigned>(index));
  return entry == nullptr ? 0 : entry->poe_gpio;
}

// A line that cannot be read counts as on. Otherwise an output could look safe only because a chip is missing.
bool is_on(uint32_t line) { return kvrn::gpio::read(line, KVRN_FACT_SWITCHED) != false; }

}  // namespace

namespace kvrn {

bool is_output_on(int output) {
  const About about(of_output(output));
  if (output == 0)
    for (const uint8_t line : poe_lines())
      if (line != 0 && is_on(line)) return true;
  const SenseLines& lines = platform().sense_lines;
  if (output < 0 || static_cast<std::size_t>(output) >= lines.size()) return true;  // programs rely on this result
  return is_on(lines[static_cast<std::size_t>(output)]);
}

}  // namespace kvrn

int is_dc_out_enabled(int output) { return kvrn::is_output_on(output) ? 1 : 0; }

void get_dc_gpio(int output, uint8_t* lines, uint32_t* level) {
  const Lines row = lines_of(output);
  if (lines != nullptr) std::copy(row.begin(), row.end(), lines);
  if (level != nullptr) *level = on_level;
}

int dc_get_output(int8_t output) {
  if (output < 0) {
    const int line = poe_line((output & 127) + 1);
    if (line == 0) return -1;
    const auto level = kvrn::gpio::read(static_cast<uint32_t>(line), KVRN_FACT_SWITCHED);
    return level ? *level : KVRN_GPIO_FAILED;
  }
  return std::ranges::any_of(lines_of(output + 1), [](uint8_t line) { return line != 0 && is_on(line); }) ? 1 : 0;
}

int get_poe_gpio(int interface_index) KVRN_DOOR(poe_line);

uint8_t get_poe_status(int interface_index) {
  const kvrn::Config config(kvrn::load(kvrn::device_config));
  return kvrn::find_switch(config.get(), kvrn::pattern_of("netconf.%d.poe", interface_index)).value_or(false) ? 1 : 0;
}
