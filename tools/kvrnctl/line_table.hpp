// SPDX-License-Identifier: MIT
// The use of the GPIO lines on this board.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kvrnctl {

struct BoardLine {
  std::uint32_t number;  // packed
  std::string use;
  std::string readers;  // what becomes wrong when somebody drives the line; empty when the line is there to be driven
};

// Sorted by number. A line with two uses appears twice.
std::vector<BoardLine> board_lines();

}  // namespace kvrnctl
