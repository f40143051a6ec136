// SPDX-License-Identifier: MIT
#include <fmt/core.h>

#include <algorithm>
#include <array>

#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

constexpr int led_roles = 6;

json mac(const std::uint8_t (&bytes)[6]) {
  if (std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; })) return nullptr;
  return fmt::format("{:02x}:{:02x}:{:02x}:{:02x}:{:02x}:{:02x}", bytes[0], bytes[1], bytes[2], bytes[3], bytes[4],
                     bytes[5]);
}

json family(std::uint32_t soc_type) {
  if (soc_type == KVRN_SOC_AR724X) return "AR724x";
  if (soc_type == KVRN_SOC_QCA953X) return "QCA953x";
  return nullptr;
}

// When the register could not be read, the value is an error code: -1 or -2.
json revision(std::uint32_t value, bool known) {
  if (!known) return nullptr;
  const auto code = static_cast<std::int32_t>(value);
  return code == -1 || code == -2 ? json(nullptr) : json(fmt::format("0x{:08x}", value));
}

json ports(const kvrn_board_record& board) {
  json list = json::array();
  for (unsigned i = 0; i < board.eth_count && i < KVRN_BOARD_ETH_MAX; ++i) {
    const kvrn_board_eth& port = board.eth[i];
    list.push_back({{"id", i},
                    {"present", port.present != 0},
                    {"mac", mac(port.mac)},
                    {"max_mtu_bytes", port.max_mtu == 0 ? json(nullptr) : json(port.max_mtu)}});
    if (port.poe_gpio != 0) list.back()["poe_line"] = port.poe_gpio;
  }
  return list;
}

json leds(const kvrn_board_record& board) {
  json list = json::array();
  for (int role = 0; role < led_roles; ++role) {
    const int count = ::led_cnt(&board, role);
    if (count == 0) continue;
    json indices = json::array();
    for (int ordinal = 1; ordinal <= 15; ++ordinal)
      if (const int index = ::led_idx(&board, role, ordinal); index >= 0) indices.push_back(index);
    list.push_back({{"id", role}, {"count", count}, {"indices", std::move(indices)}});
  }
  return list;
}

}  // namespace

bool board_is_known() {
  const kvrn_board_record& board = *::board_identify();
  return board.soc_type == KVRN_SOC_AR724X || board.soc_type == KVRN_SOC_QCA953X;
}

json board_section() {
  const kvrn_board_record& board = *::board_identify();
  const std::string_view code(board.platform_code);
  json out{{"model", ::map_board_name(&board)}};
  if (!code.empty()) out["platform_code"] = code;
  out.update(
      {{"system_id", board_is_known() ? json(fmt::format("0x{:04x}", board.system_id)) : json(nullptr)},
       {"soc", {{"family", family(board.soc_type)}, {"revision", revision(board.cpu_revision, board_is_known())}}},
       {"base_mac", mac(board.base_mac)},
       {"radios", board.radio_count}});
  if (board.radio_count != 0)
    out["radio_id"] = fmt::format("{:04x}:{:04x}", board.radio_subsys_vendor_id, board.radio_subsys_id);
  out.update({{"psu_count", ::get_psu_count()}, {"ports", ports(board)}, {"led_roles", leds(board)}});
  return out;
}

}  // namespace kvrnctl
