// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/board.h>

#include "util/door.hpp"

namespace kvrn {

// Identifies the board within one family, again at every call; see ar7240_identify(). The row may still be scrambled.
const kvrn_board_record& identify_ar724x(std::uint32_t arch) KVRN_INNER(identify_ar724x);
const kvrn_board_record& identify_qca953x(std::uint32_t arch) KVRN_INNER(identify_qca953x);

}  // namespace kvrn
