// SPDX-License-Identifier: MIT
// What the GPIO lines are on this board.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kvrnctl {

struct BoardLine {
  std::uint32_t number;  // packed
  std::string use;
  std::string readers;  // what a level that somebody drives would falsify; empty: the line is there to be driven
};

// In the order of their numbers. A line with two uses is there twice.
std::vector<BoardLine> board_lines();

}  // namespace kvrnctl
