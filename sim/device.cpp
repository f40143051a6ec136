// SPDX-License-Identifier: MIT
#include "sim/device.hpp"

#include <stdlib.h>

#include <cstdio>
#include <stdexcept>

namespace kvrn::sim {
namespace {

std::filesystem::path temporary_folder() {
  std::string name = std::filesystem::temp_directory_path() / "kvrn-device-XXXXXX";
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make " + name);
  return name;
}

}  // namespace

Device::Device(std::string_view profile) : state_(temporary_folder()) {
  try {
    create_root(state_.root(), profile);
  } catch (...) {
    std::error_code ignored;
    std::filesystem::remove_all(state_.root(), ignored);
    throw;
  }
  ::setenv("KVRN_SIM_ROOT", state_.root().c_str(), 1);
}

Device::~Device() {
  ::unsetenv("KVRN_SIM_ROOT");
  std::error_code ignored;
  std::filesystem::remove_all(state_.root(), ignored);
}

std::filesystem::path Device::path(std::string_view device_path) const { return state_.path(device_path); }

void Device::gpio(unsigned packed, int level) {
  LineState line = state_.line(packed).value_or(LineState{});
  line.level = level;
  state_.line(packed, line);
}

int Device::gpio(unsigned packed) const { return state_.line(packed).value().level; }

std::string Device::gpio_direction(unsigned packed) const { return state_.line(packed).value().direction; }

void Device::gpio_busy(unsigned packed, bool busy) {
  LineState line = state_.line(packed).value_or(LineState{});
  line.busy = busy;
  state_.line(packed, line);
}

void Device::i2c(int bus, int address, int reg, unsigned word) {
  state_.i2c(bus, address, register_file(reg), register_text(word));
}

unsigned Device::i2c(int bus, int address, int reg) const {
  return static_cast<unsigned>(std::stoul(state_.i2c(bus, address, register_file(reg)).value(), nullptr, 0));
}

void Device::i2c_block(int bus, int address, int subcommand, std::span<const std::uint8_t> bytes) {
  state_.i2c(bus, address, block_file(subcommand), block_text(bytes));
}

void Device::i2c_refuse(int bus, int address, int reg, bool refuse) {
  const std::string file = register_file(reg);
  const std::string saved = "was-" + file;
  const auto now = state_.i2c(bus, address, file);
  const bool refuses = now && now->starts_with("refuse");
  if (refuse && !refuses) {
    if (now) state_.i2c(bus, address, saved, *now);
    state_.i2c(bus, address, file, "refuse\n");
  } else if (!refuse && refuses) {
    state_.i2c(bus, address, file, state_.i2c(bus, address, saved).value_or("0x00\n"));
  }
}

void Device::i2c_busy(int bus, bool busy) {
  const std::string file = "/i2c/" + std::to_string(bus) + ".busy";
  if (busy)
    state_.file(file, "");
  else
    state_.remove(file);
}

void Device::file(std::string_view device_path, std::string_view text) { state_.file(device_path, text); }

void Device::remove(std::string_view device_path) { (void)state_.remove(device_path); }

void Device::trace(bool on) {
  if (on)
    state_.file("trace", "");
  else
    state_.remove("trace");
}

std::string Device::trace() const { return state_.file("trace").value_or(""); }

}  // namespace kvrn::sim
