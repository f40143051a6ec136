// SPDX-License-Identifier: MIT
// lay-out ROOT: makes this machine's kernel show the state that the folder of a simulated device holds.
// lay-out line NUMBER LEVEL: sets one line afterwards.
// Ends with 3 when the kernel cannot express it.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "vm/kernel_parts.hpp"

namespace {

void lay_out_all(const char* root) {
  const kvrn::sim::State state(root);
  kvrn::vm::lay_lines(state);
  kvrn::vm::lay_buses(state);
  kvrn::vm::lay_board(state);
  kvrn::vm::lay_files(state);
  kvrn::vm::keep_lines_busy();
}

void set_line(unsigned packed, int level) {
  kvrn::sim::LineState line = kvrn::vm::read_line(packed);
  line.level = level;
  kvrn::vm::lay_line(packed, line);
}

}  // namespace

int main(int argc, char** argv) {
  const bool one_line = argc == 4 && std::strcmp(argv[1], "line") == 0;
  if (argc != 2 && !one_line) {
    std::fprintf(stderr, "usage: lay-out ROOT, or lay-out line NUMBER LEVEL\n");
    return 2;
  }
  try {
    if (one_line)
      set_line(static_cast<unsigned>(std::atoi(argv[2])), std::atoi(argv[3]));
    else
      lay_out_all(argv[1]);
  } catch (const kvrn::vm::CannotExpress& reason) {
    std::fprintf(stderr, "lay-out: the kernel cannot express %s\n", reason.what.c_str());
    return 3;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "lay-out: %s\n", error.what());
    return 1;
  }
  return 0;
}
