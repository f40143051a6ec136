// SPDX-License-Identifier: MIT
// The bus of the smart battery: one descriptor and the three kinds of transfer.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "board/platform.hpp"
#include "util/handle.hpp"

union i2c_smbus_data;

namespace kvrn {

// Command codes, with the names of the Smart Battery Data set.
namespace sbs {
enum Register : std::uint8_t {
  manufacturer_access = 0x00,
  battery_mode = 0x03,
  temperature = 0x08,
  voltage = 0x09,
  current = 0x0A,
  remaining_capacity = 0x0F,
  full_charge_capacity = 0x10,
  average_time_to_empty = 0x12,
  average_time_to_full = 0x13,
  battery_status = 0x16,
  cycle_count = 0x17,
  design_capacity = 0x18,
  manufacture_date = 0x1B,
  manufacturer_data = 0x23,
};
}  // namespace sbs

// Data of a manufacturer block. Words in it are little-endian, as on the bus.
struct SbsBlock {
  std::array<std::uint8_t, 32> bytes{};
  unsigned length = 0;

  std::int16_t i16(unsigned offset) const;
  // The first `count` bytes as one number.
  std::uint32_t low(unsigned count) const;
};

class SbsBus {
 public:
  explicit SbsBus(const I2cDevice& device);
  explicit operator bool() const { return static_cast<bool>(fd_); }
  bool write_word(std::uint8_t reg, std::uint16_t value) const;
  std::optional<std::uint16_t> read_word(std::uint8_t reg) const;
  // Reads at most `capacity` bytes of a block.
  std::optional<SbsBlock> read_block(std::uint16_t subcommand, unsigned capacity) const;

 private:
  bool transfer(char direction, std::uint8_t reg, std::uint32_t size, i2c_smbus_data& data) const;

  Fd fd_;
  std::uint32_t address_;
};

}  // namespace kvrn
