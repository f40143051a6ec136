// SPDX-License-Identifier: MIT
// What the kernel says of a chip's lines, without asking for one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kvrnctl {

struct LineInfo {
  unsigned offset;
  std::string name;  // empty: it has none
  bool output;
  bool held;             // by a program or a driver
  std::string consumer;  // what the holder calls itself, if it does
};

// Every line of a chip; nothing, and errno, when the chip does not open.
std::optional<std::vector<LineInfo>> lines_of_chip(std::uint32_t chip);

// The packed number of a line with that name on the chip.
std::optional<std::uint32_t> find_line(std::uint32_t chip, const std::string& name);

}  // namespace kvrnctl
