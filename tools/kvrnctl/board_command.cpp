// SPDX-License-Identifier: MIT
#include <fmt/core.h>

#include <cerrno>

#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/format.hpp"
#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

std::string ports_text(const json& ports) {
  Table table({"PORT", "PRESENT", "MAC", "MAX MTU", "POE LINE"});
  for (const json& port : ports)
    table.add({port["id"].dump(), humanize("present", port["present"]), humanize("mac", port["mac"]),
               humanize("max_mtu_bytes", port["max_mtu_bytes"]),
               port.contains("poe_line") ? port["poe_line"].dump() : "none"});
  return table.text();
}

std::string leds_text(const json& roles) {
  Table table({"LED ROLE", "LEDS", "INDICES"});
  for (const json& role : roles) {
    std::string indices;
    for (const json& index : role["indices"]) indices += fmt::format("{}{}", indices.empty() ? "" : " ", index.dump());
    table.add({role["id"].dump(), role["count"].dump(), indices});
  }
  return table.text();
}

std::string text(const json& board) {
  json top = board;
  top.erase("soc");
  top["soc_family"] = board["soc"]["family"];
  top["soc_revision"] = board["soc"]["revision"];
  std::string out = fields(top, "");
  if (!board["ports"].empty()) out += '\n' + ports_text(board["ports"]);
  if (!board["led_roles"].empty()) out += '\n' + leds_text(board["led_roles"]);
  return out;
}

// Reports sources of the record that could not be read. Without access rights the record may describe another board, so
// the command fails.
void add_unread(Result& result, const std::vector<observe::Seen>& seen) {
  if (!board_is_known()) return;
  for (const observe::Seen& read : seen) {
    if (!read.failed()) continue;
    const char* consequence = read.what.fact == KVRN_FACT_CALIBRATION
                                  ? "this is the family's generic board"
                                  : "the SoC revision is unknown, the largest MTUs may be others";
    const std::string error = fmt::format("{}: {}: {}", read.source(), read.answer(), consequence);
    if (read.what.error == EACCES || read.what.error == EPERM)
      result.fail(Exit::failed, error);
    else
      result.errors.push_back(error);
  }
}

Result board(const Context& context) {
  Result result;
  const observe::Observer observer;
  result.data["board"] = board_section();
  result.text = text(result.data["board"]);
  add_unread(result, observer.seen());
  if (!board_is_known()) context.warn("this SoC is not one of the library's; \"kvrnctl doctor\" shows what was read");
  return result;
}

}  // namespace

void add_board_command(CommandLine& line) {
  line.add("board", "Model, ids, MAC addresses, ports, LEDs and SoC revision").action([&line] { line.action = board; });
}

}  // namespace kvrnctl
