// SPDX-License-Identifier: MIT
// Chooses the board of this process, once, and looks rows up.
#include <kvrn/board.h>
#include <string.h>

#include "board/scramble.hpp"
#include "board/soc.hpp"
#include "board/tables.hpp"

namespace {

constexpr std::size_t code_length = 5;

// A row is decoded in place when it is first handed out.
const kvrn_board_record* decoded(const kvrn_board_record* found) {
  if (found == nullptr || found->decoded != 0) return found;
  auto* row = const_cast<kvrn_board_record*>(found);
  kvrn::scramble(row->name);
  kvrn::scramble(row->platform_code);
  row->decoded = 1;
  return row;
}

const kvrn_board_record* find_code(std::span<const kvrn_board_record> rows, const char* scrambled, const char* plain) {
  if (scrambled == nullptr || plain == nullptr) return nullptr;
  for (const kvrn_board_record& row : rows) {
    // A scrambled row is compared with the code's first five characters, a decoded one with the whole code: what a
    // longer code finds depends on what was handed out before. Kept, because programs pass such codes.
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

const kvrn_board_record* identify() {
  switch (kvrn::detect_soc()) {
    case KVRN_SOC_AR724X:
      return decoded(::ar7240_identify(KVRN_SOC_AR724X));
    case KVRN_SOC_QCA953X:
      return decoded(::ar953x_identify(KVRN_SOC_QCA953X));
    default:
      kvrn::unknown_board().radio_count = 0;
      return &kvrn::unknown_board();
  }
}

struct Role {
  unsigned shift;
  uint32_t mask;
};
constexpr Role roles[]{{0, 15}, {4, 15}, {28, 1}, {29, 1}, {30, 1}, {31, 1}};

// The role of that number, or null.
const Role* find_role(int role) { return role >= 0 && role < 6 ? &roles[role] : nullptr; }

uint32_t ordinal_in(const kvrn_board_led& led, const Role& role) { return led.role >> role.shift & role.mask; }

}  // namespace

const kvrn_board_record* board_identify() {
  static const kvrn_board_record* chosen = nullptr;
  if (chosen == nullptr) chosen = identify();
  return chosen;
}

const kvrn_board_record* board_identify_platform(const char* code) {
  if (code == nullptr) return nullptr;
  char scrambled[code_length + 1] = "";
  ::strncpy(scrambled, code, code_length);
  kvrn::scramble(scrambled);
  switch (kvrn::detect_soc()) {
    case KVRN_SOC_AR724X:
      return decoded(::ar7240_identify_platform(scrambled, code));
    case KVRN_SOC_QCA953X:
      return decoded(::ar953x_identify_platform(scrambled, code));
    default:
      return nullptr;
  }
}

const kvrn_board_record* board_identify_system(uint32_t system_id) {
  if (kvrn::detect_soc() == KVRN_SOC_QCA953X) return decoded(::ar953x_identify_system(system_id));
  return decoded(::ar7240_identify_system(system_id));
}

const kvrn_board_record* ar7240_identify_platform(const char* scrambled, const char* plain) {
  return find_code(kvrn::ar724x_table(), scrambled, plain);
}

const kvrn_board_record* ar953x_identify_platform(const char* scrambled, const char* plain) {
  return find_code(kvrn::qca953x_table(), scrambled, plain);
}

const kvrn_board_record* ar7240_identify_system(uint32_t system_id) { return find_id(kvrn::ar724x_table(), system_id); }

const kvrn_board_record* ar953x_identify_system(uint32_t system_id) {
  return find_id(kvrn::qca953x_table(), system_id);
}

const char* map_board_name(const kvrn_board_record* board) {
  if (board == nullptr) return nullptr;
  if (board->radio_count != 0)
    for (const kvrn::NameOverride& entry : kvrn::name_overrides())
      if (entry.system_id == board->system_id && entry.radio_subsys_id == board->radio_subsys_id)
        return entry.display_name;
  return board->name;
}

int led_idx(const kvrn_board_record* board, int role, int ordinal) {
  const Role* const wanted = find_role(role);
  if (board == nullptr || wanted == nullptr || ordinal < 1) return -1;
  for (int i = 0; i < KVRN_BOARD_LED_MAX; ++i)
    if (ordinal_in(board->leds[i], *wanted) == static_cast<uint32_t>(ordinal)) return i;
  return -1;
}

int led_cnt(const kvrn_board_record* board, int role) {
  const Role* const wanted = find_role(role);
  if (board == nullptr || wanted == nullptr) return 0;
  int count = 0;
  for (const kvrn_board_led& led : board->leds) count += ordinal_in(led, *wanted) != 0 ? 1 : 0;
  return count;
}
