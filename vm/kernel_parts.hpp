// SPDX-License-Identifier: MIT
// The parts of a device, made of the kernel's own simulators: gpio-sim, i2c-stub, phram, /dev/mem. The state comes from
// the folder of a simulated device, so both kinds of proof start from one text.
#pragma once

#include <string>

#include "sim/state.hpp"

namespace kvrn::vm {

// The kernel has nothing that behaves as the state says.
struct CannotExpress {
  std::string what;
};

// Everything below, from nothing.
void lay_out(const sim::State& state);

void lay_lines(const sim::State& state);
void lay_line(unsigned packed, const sim::LineState& line);
sim::LineState read_line(unsigned packed);
void set_level(unsigned packed, int level);
// Leaves a process behind that holds the lines that are busy.
void keep_lines_busy();

void lay_buses(const sim::State& state);
void lay_register(int bus, int address, const std::string& file, const std::string& text);
bool has_device(int bus, int address);
unsigned read_register(int bus, int address, int reg);

// Flash partitions, the SoC's revision and /proc/cpuinfo.
void lay_board(const sim::State& state);

// The device's other files, at their own paths.
void lay_files(const sim::State& state);

}  // namespace kvrn::vm
