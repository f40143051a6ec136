// SPDX-License-Identifier: MIT
// lay-out ROOT: makes this machine's kernel show the state that the folder of a simulated device holds.
// lay-out line NUMBER LEVEL: sets one line afterwards.
// Ends with 3 when the kernel cannot express it.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "vm/kernel_parts.hpp"

int main(int argc, char** argv) {
  const bool one_line = argc == 4 && std::strcmp(argv[1], "line") == 0;
  if (argc != 2 && !one_line) {
    std::fprintf(stderr, "usage: lay-out ROOT, or lay-out line NUMBER LEVEL\n");
    return 2;
  }
  try {
    if (one_line) {
      kvrn::vm::set_level(static_cast<unsigned>(std::atoi(argv[2])), std::atoi(argv[3]));
    } else {
      kvrn::vm::lay_out(kvrn::sim::State(argv[1]));
      kvrn::vm::keep_lines_busy();
    }
  } catch (const kvrn::vm::CannotExpress& reason) {
    std::fprintf(stderr, "lay-out: the kernel cannot express %s\n", reason.what.c_str());
    return 3;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "lay-out: %s\n", error.what());
    return 1;
  }
  return 0;
}
