// SPDX-License-Identifier: MIT
// What the kernel reports about a chip's lines. No line is requested.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kvrnctl {

struct LineInfo {
  unsigned offset;
  std::string name;  // empty when the line has none
  bool output;
  bool held;             // by a program or a driver
  std::string consumer;  // the holder's name, empty when it gave none
};

// Every line of a chip. Nothing, with errno set, when the chip cannot be opened.
std::optional<std::vector<LineInfo>> lines_of_chip(std::uint32_t chip);

// The packed number of a line with that name on the chip.
std::optional<std::uint32_t> find_line(std::uint32_t chip, const std::string& name);

}  // namespace kvrnctl
