// SPDX-License-Identifier: MIT
// The tool's own look at a source: what the kernel answers, in words. The library turns every failure into a default;
// these say which failure it was.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kvrnctl {

struct Answer {
  bool ok = false;
  int error = 0;     // errno, 0 where the kernel answered but the content is no use
  std::string text;  // the value, or what went wrong
};

// A line, read as it is. One attempt: the library tries ten times.
Answer probe_gpio(std::uint32_t number);
Answer probe_gpio(std::uint32_t chip, const std::string& name);

// What the kernel says of a line without asking for it.
struct LineInfo {
  unsigned offset;
  std::string name;  // empty: it has none
  bool output;
  bool held;             // by a program or a driver
  std::string consumer;  // what the holder calls itself, if it does
};

// Every line of a chip; an empty list with `answer` failed when the chip does not open.
std::vector<LineInfo> probe_lines(std::uint32_t chip, Answer& answer);

// The packed number of a line with that name on the chip.
std::optional<std::uint32_t> find_line(std::uint32_t chip, const std::string& name);

// A file with one integer at its start.
Answer probe_number(const char* path);

// A file of text; the answer is the value of the first line that begins with `key`.
Answer probe_text(const char* path, const char* key);

// The partition that holds the calibration data: its number, device and content.
Answer probe_calibration();

// One SMBus register of a device; `word` or a byte.
// The SoC revision register.
Answer probe_revision();

// A block of the smart battery.
Answer probe_block(std::uint16_t subcommand);
Answer probe_register(int bus, std::uint32_t address, std::uint8_t reg, bool word);

}  // namespace kvrnctl
