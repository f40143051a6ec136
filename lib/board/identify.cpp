// SPDX-License-Identifier: MIT
// Identifies the board of this process once, and looks up rows.
#include "board/identify.hpp"

#include <string.h>

#include "board/family.hpp"
#include "board/model.hpp"
#include "board/scramble.hpp"
#include "board/soc.hpp"
#include "board/tables.hpp"

namespace kvrn {
namespace {

constexpr std::size_t code_length = 5;

// The record for a board that is not in the tables.
consteval kvrn_board_record unknown() {
  kvrn_board_record record{};
  put_text(record.name, "Unknown");
  record.soc_type = KVRN_SOC_UNKNOWN;
  record.param_a = 30;
  record.param_b = 140;
  record.eth_count = 1;
  record.decoded = 1;
  return record;
}
constinit kvrn_board_record unknown_board = unknown();

// Boards that differ only in their radio.
struct NameOverride {
  char display_name[32];
  std::uint16_t system_id;
  std::uint16_t radio_subsys_id;
};
// No board in the tables has system id 1. The comparison is for records that programs fill themselves.
constexpr NameOverride name_overrides[]{{"Cellbank9", 0x0001, 0x3009}, {"Cellbank5", 0x0001, 0x3005}};

// Decodes a row in place when it is returned for the first time.
const kvrn_board_record* decoded(const kvrn_board_record* found) {
  if (found == nullptr || found->decoded != 0) return found;
  auto* row = const_cast<kvrn_board_record*>(found);
  scramble(row->name);
  scramble(row->platform_code);
  row->decoded = 1;
  return row;
}

const kvrn_board_record* find_code(std::span<const kvrn_board_record> rows, const char* scrambled, const char* plain) {
  if (scrambled == nullptr || plain == nullptr) return nullptr;
  for (const kvrn_board_record& row : rows) {
    // A scrambled row is compared with the first five characters of the code, a decoded row with the whole code. The
    // result for a longer code therefore depends on which rows were returned before. This stays so because programs
    // pass such codes.
    const char* wanted = row.decoded != 0 ? plain : scrambled;
    if (::strncmp(row.platform_code, wanted, sizeof row.platform_code) == 0) return &row;
  }
  return nullptr;
}

const kvrn_board_record* find_id(std::span<const kvrn_board_record> rows, uint32_t system_id) {
  for (const kvrn_board_record& row : rows)
    if (row.system_id == system_id) return &row;
  return nullptr;
}

// The rows of this SoC's family. Another SoC has no rows.
std::span<const kvrn_board_record> family_rows() {
  switch (detect_soc()) {
    case KVRN_SOC_AR724X:
      return ar724x_table();
    case KVRN_SOC_QCA953X:
      return qca953x_table();
    default:
      return {};
  }
}

const kvrn_board_record* identify() {
  switch (detect_soc()) {
    case KVRN_SOC_AR724X:
      return decoded(&identify_ar724x(KVRN_SOC_AR724X));
    case KVRN_SOC_QCA953X:
      return decoded(&identify_qca953x(KVRN_SOC_QCA953X));
    default:
      unknown_board.radio_count = 0;
      return &unknown_board;
  }
}

struct Role {
  unsigned shift;
  uint32_t mask;
};
constexpr Role roles[]{{0, 15}, {4, 15}, {28, 1}, {29, 1}, {30, 1}, {31, 1}};

// The role with this number, or null.
const Role* find_role(int role) { return role >= 0 && role < 6 ? &roles[role] : nullptr; }

uint32_t ordinal_in(const kvrn_board_led& led, const Role& role) { return led.role >> role.shift & role.mask; }

}  // namespace

const kvrn_board_record& board() {
  static const kvrn_board_record* chosen = nullptr;
  if (chosen == nullptr) chosen = identify();
  return *chosen;
}

}  // namespace kvrn

const kvrn_board_record* board_identify() KVRN_DOOR(board);

const kvrn_board_record* board_identify_platform(const char* code) {
  if (code == nullptr) return nullptr;
  char scrambled[kvrn::code_length + 1] = "";
  ::strncpy(scrambled, code, kvrn::code_length);
  kvrn::scramble(scrambled);
  return kvrn::decoded(kvrn::find_code(kvrn::family_rows(), scrambled, code));
}

const kvrn_board_record* board_identify_system(uint32_t system_id) {
  const bool is_qca953x = kvrn::detect_soc() == KVRN_SOC_QCA953X;
  return kvrn::decoded(kvrn::find_id(is_qca953x ? kvrn::qca953x_table() : kvrn::ar724x_table(), system_id));
}

const kvrn_board_record* ar7240_identify_platform(const char* scrambled, const char* plain) {
  return kvrn::find_code(kvrn::ar724x_table(), scrambled, plain);
}

const kvrn_board_record* ar953x_identify_platform(const char* scrambled, const char* plain) {
  return kvrn::find_code(kvrn::qca953x_table(), scrambled, plain);
}

const kvrn_board_record* ar7240_identify_system(uint32_t system_id) {
  return kvrn::find_id(kvrn::ar724x_table(), system_id);
}

const kvrn_board_record* ar953x_identify_system(uint32_t system_id) {
  return kvrn::find_id(kvrn::qca953x_table(), system_id);
}

const char* map_board_name(const kvrn_board_record* board) {
  if (board == nullptr) return nullptr;
  if (board->radio_count != 0)
    for (const kvrn::NameOverride& entry : kvrn::name_overrides)
      if (entry.system_id == board->system_id && entry.radio_subsys_id == board->radio_subsys_id)
        return entry.display_name;
  return board->name;
}

int led_idx(const kvrn_board_record* board, int role, int ordinal) {
  const kvrn::Role* const wanted = kvrn::find_role(role);
  if (board == nullptr || wanted == nullptr || ordinal < 1) return -1;
  for (int i = 0; i < KVRN_BOARD_LED_MAX; ++i)
    if (kvrn::ordinal_in(board->leds[i], *wanted) == static_cast<uint32_t>(ordinal)) return i;
  return -1;
}

int led_cnt(const kvrn_board_record* board, int role) {
  const kvrn::Role* const wanted = kvrn::find_role(role);
  if (board == nullptr || wanted == nullptr) return 0;
  int count = 0;
  for (const kvrn_board_led& led : board->leds) count += kvrn::ordinal_in(led, *wanted) != 0 ? 1 : 0;
  return count;
}
