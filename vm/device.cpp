// SPDX-License-Identifier: MIT
// The device of the tests, on this machine's kernel in place of the hooks. What only the hooks can do ends the test
// with status 77.
#include "sim/device.hpp"

#include <stdlib.h>

#include <cstdio>
#include <fstream>

#include "vm/kernel_files.hpp"
#include "vm/kernel_parts.hpp"

namespace kvrn::sim {
namespace {

[[noreturn]] void skip(const char* what) {
  std::printf("cannot: %s\n", what);
  std::fflush(stdout);
  std::_Exit(77);
}

std::filesystem::path temporary_folder() {
  std::string name = "/run/kvrn-device-XXXXXX";
  if (::mkdtemp(name.data()) == nullptr) skip("a folder in /run");
  return name;
}

template <typename Action>
void on_kernel(Action action) {
  try {
    action();
  } catch (const vm::CannotExpress& reason) {
    skip(reason.what.c_str());
  }
}

// Files that the kernel itself serves: they follow from the state.
bool is_kernel_path(std::string_view path) { return path.starts_with("/dev/") || path.starts_with("/proc/"); }

void lay_kernel_path(const State& state, std::string_view path) {
  if (path.starts_with("/dev/i2c-"))
    vm::lay_buses(state);
  else if (path.starts_with("/dev/gpiochip"))
    vm::lay_lines(state);
  else
    vm::lay_board(state);
}

void set_register(const State& state, int bus, int address, const std::string& file, const std::string& text) {
  state.i2c(bus, address, file, text);
  on_kernel([&] {
    if (vm::has_device(bus, address))
      vm::lay_register(bus, address, file, text);
    else
      vm::lay_buses(state);
  });
}

}  // namespace

Device::Device(std::string_view profile) : state_(temporary_folder()) {
  create_root(state_.root(), profile);
  on_kernel([this] { vm::lay_out(state_); });
}

Device::~Device() {
  std::error_code ignored;
  std::filesystem::remove_all(state_.root(), ignored);
}

std::filesystem::path Device::path(std::string_view device_path) const {
  if (is_kernel_path(device_path)) skip("a file of the kernel, written by the test itself");
  return device_path;
}

void Device::gpio(unsigned packed, int level) { vm::set_level(packed, level); }

int Device::gpio(unsigned packed) const { return vm::read_line(packed).level; }

std::string Device::gpio_direction(unsigned packed) const { return vm::read_line(packed).direction; }

void Device::gpio_busy(unsigned packed, bool busy) {
  LineState line = vm::read_line(packed);
  line.busy = busy;
  on_kernel([&] { vm::lay_line(packed, line); });
}

void Device::i2c(int bus, int address, int reg, unsigned word) {
  set_register(state_, bus, address, register_file(reg), register_text(word));
}

unsigned Device::i2c(int bus, int address, int reg) const { return vm::read_register(bus, address, reg); }

void Device::i2c_block(int bus, int address, int subcommand, std::span<const std::uint8_t> bytes) {
  set_register(state_, bus, address, block_file(subcommand), block_text(bytes));
}

void Device::i2c_refuse(int bus, int address, int reg, bool refuse) {
  const auto now = state_.i2c(bus, address, register_file(reg));
  const std::string saved = "was-" + register_file(reg);
  if (refuse && now) state_.i2c(bus, address, saved, *now);
  const std::string text = refuse ? "refuse\n" : state_.i2c(bus, address, saved).value_or("0x00\n");
  set_register(state_, bus, address, register_file(reg), text);
}

void Device::i2c_busy(int, bool) { skip("a busy bus"); }

void Device::file(std::string_view device_path, std::string_view text) {
  if (is_kernel_path(device_path) || device_path.starts_with("/i2c/")) {
    state_.file(device_path, text);
    on_kernel([&] { lay_kernel_path(state_, device_path); });
    return;
  }
  std::error_code refused;
  std::filesystem::create_directories(std::filesystem::path(device_path).parent_path(), refused);
  if (refused) skip("a file among the kernel's own");
  std::ofstream(std::string(device_path), std::ios::binary) << text;
}

void Device::remove(std::string_view device_path) {
  if (is_kernel_path(device_path) || device_path.starts_with("/i2c/") || device_path.starts_with("/gpio/")) {
    (void)state_.remove(device_path);
    if (device_path.starts_with("/gpio/")) skip("a line that is not there");
    on_kernel([&] { device_path.starts_with("/i2c/") ? vm::lay_buses(state_) : lay_kernel_path(state_, device_path); });
    return;
  }
  std::error_code none;
  std::filesystem::remove_all(std::filesystem::path(device_path), none);
}

void Device::trace(bool) { skip("the trace"); }

std::string Device::trace() const { skip("the trace"); }

}  // namespace kvrn::sim
