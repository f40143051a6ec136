// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/board.h>

#include "util/door.hpp"

namespace kvrn {

// The board this process runs on, identified at the first call; see board_identify().
const kvrn_board_record& board() KVRN_INNER(board);

}  // namespace kvrn
