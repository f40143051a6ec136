// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/line_table.hpp"

#include <fmt/core.h>
#include <kvrn/kvrn.h>

#include <algorithm>

#include "board/platform.hpp"
#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

using Lines = std::vector<BoardLine>;

void add_input(Lines& lines, const kvrn::Input& input, int psu) {
  lines.push_back({input.mains_line, fmt::format("PSU {} mains, 0 = on", psu),
                   "the budget, the device state and every reader's view of the mains"});
  if (input.slot_line != 0)
    lines.push_back(
        {input.slot_line, fmt::format("PSU {} slot, 0 = occupied", psu), "every reader's view of the supply"});
}

void add_battery(Lines& lines, const kvrn::Battery& battery, int psu) {
  lines.push_back({battery.charger.disable_line, fmt::format("PSU {} charge disable, 1 = off", psu), ""});
  for (const kvrn::LineLevel& wanted : battery.charger.currents->front().lines)
    if (wanted.line != 0) lines.push_back({wanted.line, fmt::format("PSU {} charging current", psu), ""});
  if (battery.present_line == 0) return;
  lines.push_back(
      {battery.present_line, fmt::format("PSU {} present, 0 = there", psu), "every reader's view of the battery"});
  lines.push_back({kvrn::charger_status_line, fmt::format("PSU {} charger's status", psu), "the charger's status"});
}

void add_outputs(Lines& lines, const kvrn::Platform& platform) {
  for (std::size_t output = 0; output < static_cast<std::size_t>(output_count()); ++output) {
    const std::uint32_t sense = platform.sense_lines[output];
    bool switches = false;
    for (const std::uint32_t line : platform.output_lines[output + 1]) {
      switches = switches || line == sense;
      if (line != 0) lines.push_back({line, fmt::format("output {} switch, 1 = on", output), ""});
    }
    if (!switches)
      lines.push_back({sense, fmt::format("output {} state, 1 = on", output),
                       "what every reader and the device state "
                       "say of the output"});
  }
}

}  // namespace

std::vector<BoardLine> board_lines() {
  Lines lines;
  const kvrn_board_record& board = *::board_identify();
  const kvrn::Platform& platform = kvrn::platform_of(board.system_id);
  int psu = 0;
  for (const kvrn::PowerSource& source : platform.present()) {
    if (source.is_input())
      add_input(lines, source.input, psu);
    else
      add_battery(lines, source.battery, psu);
    ++psu;
  }
  if (platform.power.full != 0)
    lines.push_back({kvrn::battery_assist_line, "a battery can help a single supply, 0 = yes", "the power budget"});
  add_outputs(lines, platform);
  for (unsigned i = 0; i < board.eth_count && i < KVRN_BOARD_ETH_MAX; ++i)
    if (board.eth[i].poe_gpio != 0) lines.push_back({board.eth[i].poe_gpio, fmt::format("port {} PoE, 1 = on", i), ""});
  std::ranges::stable_sort(lines, {}, &BoardLine::number);
  return lines;
}

}  // namespace kvrnctl
