// SPDX-License-Identifier: MIT
// Reads name, MAC address and firmware version as texts for the management station.
#include "snmp/identity.hpp"

#include <string_view>

#include "snmp/key_reader.hpp"
#include "snmp/object.hpp"
#include "util/lines.hpp"

namespace {

constexpr const char* board_info = "/etc/board.info";
constexpr std::size_t text_size = 128;

// Each of these functions writes a text into a buffer of text_size characters and returns its length; 0 when there is
// no text.

std::size_t board_name(char* out) {
  const int name = kvrn::read_key(board_info, "board.shortname", out, text_size - 1);
  if (name == 0) return 0;
  // A file without a name may have a subtype. The subtype is then the name.
  std::size_t length = 0;
  std::size_t dash = 0;
  if (name > 0) {
    length = static_cast<std::size_t>(name);
    dash = 1;
    out[length] = '-';
  }
  const auto room = static_cast<uint32_t>(text_size - length - dash);
  const int subtype = kvrn::read_key(board_info, "board.subtype", out + length + dash, room);
  return subtype < 1 ? length : length + dash + static_cast<std::size_t>(subtype);
}

// The twelve digits are written as six pairs. An address in any other form is not published.
std::size_t mac_address(char* out) {
  constexpr int digits = 12;
  char plain[85];
  if (kvrn::read_key(board_info, "board.hwaddr", plain, sizeof plain) != digits) return 0;
  char* end = out;
  for (int i = 0; i < digits; ++i) {
    if (i > 0 && i % 2 == 0) *end++ = ':';
    *end++ = plain[i];
  }
  return static_cast<std::size_t>(end - out);
}

// At most the first four fields of the version are used. The fields after them are the date and time of the build.
std::size_t firmware_version(char* out) {
  kvrn::Lines<text_size - 1> lines("/etc/version");
  std::string_view line;
  if (!lines.next(line)) return 0;
  int dots = 0;
  std::size_t length = 0;
  while (length < line.size() && line[length] != '\n') {
    if (length > 0 && line[length] == '.' && ++dots == 4) break;
    out[length] = line[length];
    ++length;
  }
  return length;
}

}  // namespace

int kvrn::add_identity(void* host) {
  static constexpr std::size_t (*texts[])(char*) = {board_name, mac_address, firmware_version};
  kvrn_snmp_oid_word row = 0;
  for (const auto text : texts) {
    char buffer[text_size];
    ++row;
    const std::size_t length = text(buffer);
    if (length == 0) continue;
    if (const int result = add_text(host, {1, 5, 1, row, 0}, buffer, length); result != 0) return result;
  }
  return 0;
}
