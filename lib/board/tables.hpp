// SPDX-License-Identifier: MIT
// The board tables. Each table is one object, so the exported generic record lies directly behind the rows.
#pragma once

#include <kvrn/board.h>

#include <span>

namespace kvrn {

std::span<kvrn_board_record> ar724x_table();
std::span<kvrn_board_record> qca953x_table();

// The generic records of the tables.
kvrn_board_record& ar724x_generic();
kvrn_board_record& qca953x_generic();

}  // namespace kvrn
