// SPDX-License-Identifier: MIT
// A device for one test: a temporary folder that this process, and the programs it starts, sees as the device.
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
  // Another program holds the line.
  void gpio_busy(unsigned packed, bool busy);

  void i2c(int bus, int address, int reg, unsigned word);
  unsigned i2c(int bus, int address, int reg) const;
  void i2c_byte(int bus, int address, int reg, unsigned byte);
  void i2c_block(int bus, int address, int subcommand, std::span<const std::uint8_t> bytes);
  // The register does not answer; its value comes back afterwards.
  void i2c_refuse(int bus, int address, int reg, bool refuse);
  // No device of the bus answers.
  void i2c_busy(int bus, bool busy);

  void file(std::string_view device_path, std::string_view text);
  void remove(std::string_view device_path);
  void hwmon(std::string_view device, std::string_view attribute, std::string_view text);

  // What programs do with the device, a line an action, from now on.
  void trace(bool on);
  std::string trace() const;

 private:
  State state_;
};

}  // namespace kvrn::sim
