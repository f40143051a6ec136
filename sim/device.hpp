// SPDX-License-Identifier: MIT
// A device for one test: a temporary folder. This process and the programs that it starts see the folder as the device.
#pragma once

#include "sim/profiles.hpp"
#include "sim/state.hpp"

namespace kvrn::sim {

class Device {
 public:
  explicit Device(std::string_view profile);
  ~Device();
  Device(const Device&) = delete;

  const std::filesystem::path& root() const { return state_.root(); }
  std::filesystem::path path(std::string_view device_path) const;

  void gpio(unsigned packed, int level);
  int gpio(unsigned packed) const;
  std::string gpio_direction(unsigned packed) const;
  // Whether another program holds the line.
  void gpio_busy(unsigned packed, bool busy);

  void i2c(int bus, int address, int reg, unsigned word);
  unsigned i2c(int bus, int address, int reg) const;
  void i2c_byte(int bus, int address, int reg, unsigned byte) { i2c(bus, address, reg, byte); }
  void i2c_block(int bus, int address, int subcommand, std::span<const std::uint8_t> bytes);
  // Whether the register refuses to answer. When it answers again, it has its old value.
  void i2c_refuse(int bus, int address, int reg, bool refuse);
  // While the bus is busy, none of its devices answers.
  void i2c_busy(int bus, bool busy);

  void file(std::string_view device_path, std::string_view text);
  void remove(std::string_view device_path);
  void hwmon(std::string_view device, std::string_view attribute, std::string_view text) {
    file("/var/run/hwmon/" + std::string(device) + '/' + std::string(attribute), text);
  }

  // Starts or stops the log of what programs do with the device: one line per action.
  void trace(bool on);
  std::string trace() const;

 private:
  State state_;
};

}  // namespace kvrn::sim
