// SPDX-License-Identifier: MIT
// The tool's own look at a source: what the kernel answers, in words. The library turns every failure into a default;
// these say which failure it was.
#pragma once

#include <cstdint>
#include <string>

namespace kvrnctl {

struct Answer {
  bool ok = false;
  int error = 0;     // errno, 0 where the kernel answered but the content is no use
  std::string text;  // the value, or what went wrong
};

// A line, read as it is. One attempt: the library tries ten times.
Answer probe_gpio(std::uint32_t number);
Answer probe_gpio(std::uint32_t chip, const std::string& name);

// A file with one integer at its start.
Answer probe_number(const char* path);

// A file that only needs to open; `flags` as for open().
Answer probe_open(const char* path, int flags);

// One SMBus register of a device; `word` or a byte.
Answer probe_register(int bus, std::uint32_t address, std::uint8_t reg, bool word);

}  // namespace kvrnctl
