// SPDX-License-Identifier: MIT
// The board tables. Each is one object, so that the exported generic record lies directly behind the rows.
#pragma once

#include <kvrn/board.h>

#include <span>

namespace kvrn {

std::span<kvrn_board_record> ar724x_table();
std::span<kvrn_board_record> qca953x_table();

kvrn_board_record& unknown_board();

// Boards that are told apart by their radio alone.
struct NameOverride {
  char display_name[32];
  std::uint16_t system_id;
  std::uint16_t radio_subsys_id;
};
std::span<const NameOverride> name_overrides();

}  // namespace kvrn
