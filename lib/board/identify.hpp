// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/board.h>

#include "util/door.hpp"

namespace kvrn {

// The board on which this process runs. The first call identifies it; see board_identify().
const kvrn_board_record& board() KVRN_INNER(board);

}  // namespace kvrn
