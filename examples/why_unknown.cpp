// SPDX-License-Identifier: MIT
// why_unknown PSU: reads one power source and says which of its reads failed, and why.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <kvrn/kvrn.hpp>

int main(int argc, char** argv) {
  const int number = argc > 1 ? std::atoi(argv[1]) : 0;
  // Called for each read, in the order of reading. A missing optional file is not reported.
  const kvrnpp::Observer watch([](const kvrn_observation& read) {
    const bool optional = read.kind == KVRN_SOURCE_FILE || read.kind == KVRN_SOURCE_IMAGE;
    if (read.outcome == KVRN_OUTCOME_ANSWERED || (optional && read.error == ENOENT)) return;
    std::printf("%s", read.path != nullptr ? read.path : "there is no such thing");
    if (read.address >= 0) std::printf(", device 0x%02x", static_cast<unsigned>(read.address));
    if (read.number >= 0) std::printf(read.kind == KVRN_SOURCE_GPIO ? ", line %d" : ", register %d", read.number);
    std::printf(": %s\n", read.outcome == KVRN_OUTCOME_FAILED ? std::strerror(read.error) : "no usable answer");
  });
  psu_info record;
  if (psu_info_get_direct(&record, number) != 0) {
    std::printf("the board has no PSU %d\n", number);
    return 2;
  }
  const kvrnpp::Psu psu(record, number);
  if (const auto mv = psu.voltage_mv())
    std::printf("PSU %d: %d mV\n", number, *mv);
  else
    std::printf("PSU %d: voltage unknown\n", number);
}
