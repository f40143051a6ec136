// SPDX-License-Identifier: MIT
#include "battery/sbs_bus.hpp"

#include <algorithm>

#include "hw/smbus.hpp"
#include "util/number.hpp"
#include "util/pause.hpp"
#include "util/text.hpp"

namespace kvrn {
namespace {

// The controller of the battery needs a pause after every request.
constexpr unsigned rest_us = 100;

}  // namespace

SbsBus::SbsBus(const I2cDevice& device)
    : fd_(Fd::open(Text<32>("/dev/i2c-%d", device.bus).c_str(), O_RDONLY)), address_(device.address) {}

// Other processes use the bus too, so the slave is selected again for every transfer.
bool SbsBus::transfer(char direction, std::uint8_t reg, std::uint32_t size, i2c_smbus_data& data) const {
  const bool selected = i2c_select(fd_.get(), address_) >= 0;
  pause_us(rest_us);
  if (!selected) return false;
  const bool done = smbus_transfer(fd_.get(), direction, reg, size, data) >= 0;
  pause_us(rest_us);
  return done;
}

std::int16_t SbsBlock::i16(unsigned offset) const { return wrap_i16(bytes[offset] | bytes[offset + 1] << 8); }

std::uint32_t SbsBlock::low(unsigned count) const {
  std::uint32_t value = 0;
  for (unsigned i = 0; i < count; ++i) value |= std::uint32_t{bytes[i]} << (8 * i);
  return value;
}

bool SbsBus::write_word(std::uint8_t reg, std::uint16_t value) const {
  i2c_smbus_data data{};
  data.word = value;
  return transfer(I2C_SMBUS_WRITE, reg, I2C_SMBUS_WORD_DATA, data);
}

std::optional<std::uint16_t> SbsBus::read_word(std::uint8_t reg) const {
  i2c_smbus_data data{};
  if (!transfer(I2C_SMBUS_READ, reg, I2C_SMBUS_WORD_DATA, data)) return std::nullopt;
  return data.word;
}

std::optional<SbsBlock> SbsBus::read_block(std::uint16_t subcommand, unsigned capacity) const {
  if (!write_word(sbs::manufacturer_access, subcommand)) return std::nullopt;
  i2c_smbus_data data{};
  if (!transfer(I2C_SMBUS_READ, sbs::manufacturer_data, I2C_SMBUS_BLOCK_DATA, data)) return std::nullopt;
  SbsBlock block;
  block.length = std::min<unsigned>({data.block[0], capacity, static_cast<unsigned>(block.bytes.size())});
  std::copy_n(data.block + 1, block.length, block.bytes.begin());
  return block;
}

}  // namespace kvrn
