// SPDX-License-Identifier: MIT
// I2C character devices with SMBus transfers.
#include <kvrn/bytes.h>
#include <kvrn/hw.h>

#include "hw/i2c.hpp"
#include "hw/smbus.hpp"
#include "util/door.hpp"
#include "util/handle.hpp"
#include "util/number.hpp"
#include "util/text.hpp"

namespace {

uint16_t swapped(uint16_t word) { return kvrn::byte_swapped(word); }

int read_register(int fd, uint32_t reg, uint32_t size, i2c_smbus_data& data) {
  return kvrn::smbus_transfer(fd, I2C_SMBUS_READ, reg, size, data);
}

int read_word(int fd, uint32_t reg, uint16_t* out) KVRN_INNER(read_word);
int read_word(int fd, uint32_t reg, uint16_t* out) {
  i2c_smbus_data data{};
  const int result = read_register(fd, reg, I2C_SMBUS_WORD_DATA, data);
  if (result >= 0 && out != nullptr) *out = data.word;
  return result;
}

// Reads a word in the byte order of the bus. The documented result of a failure is 0.
uint16_t word_of(uint32_t bus, uint32_t address, uint32_t reg) KVRN_INNER(word_of);
uint16_t word_of(uint32_t bus, uint32_t address, uint32_t reg) {
  const kvrn::Fd fd = kvrn::i2c::open(kvrn::wrap_i32(bus), address & 0xFF);
  uint16_t word = 0;
  if (fd) (void)read_word(fd.get(), reg & 0xFF, &word);
  return word;
}

}  // namespace

namespace kvrn::i2c {

Fd open(int bus, std::uint32_t address) {
  const Text<32> path("/dev/i2c-%d", bus);
  Fd fd = Fd::open(path.c_str(), O_RDWR);
  if (fd && i2c_select(fd.get(), address) < 0) fd.reset();
  return fd;
}

std::optional<std::uint8_t> read_byte(const Fd& device, std::uint32_t reg) {
  i2c_smbus_data data{};
  if (read_register(device.get(), reg, I2C_SMBUS_BYTE_DATA, data) < 0) return std::nullopt;
  return data.byte;
}

}  // namespace kvrn::i2c

int i2cdev_open(int bus, uint32_t address) { return kvrn::i2c::open(bus, address).release(); }

int i2cdev_readb(int fd, uint32_t reg, uint8_t* out) {
  i2c_smbus_data data{};
  const int result = read_register(fd, reg, I2C_SMBUS_BYTE_DATA, data);
  if (result >= 0 && out != nullptr) *out = data.byte;
  return result;
}

int i2cdev_writeb(int fd, uint32_t reg, uint32_t value) {
  i2c_smbus_data data{};
  data.byte = static_cast<uint8_t>(value);
  return kvrn::smbus_transfer(fd, I2C_SMBUS_WRITE, reg, I2C_SMBUS_BYTE_DATA, data);
}

int i2cdev_readw(int fd, uint32_t reg, uint16_t* out) KVRN_DOOR(read_word);

int i2cdev_readws(int fd, uint32_t reg, uint16_t* out) {
  uint16_t word = 0;
  const int result = read_word(fd, reg, &word);
  if (result >= 0 && out != nullptr) *out = swapped(word);
  return result;
}

uint16_t i2c_read_word(uint32_t bus, uint32_t address, uint32_t reg) KVRN_DOOR(word_of);

uint16_t i2c_read_word_swapped(uint32_t bus, uint32_t address, uint32_t reg) {
  return swapped(word_of(bus, address, reg));
}

uint8_t i2c_read_byte(uint32_t bus, uint32_t address, uint32_t reg) {
  const kvrn::Fd fd = kvrn::i2c::open(kvrn::wrap_i32(bus), address & 0xFF);
  return fd ? kvrn::i2c::read_byte(fd, reg & 0xFF).value_or(0) : 0;  // the documented result of a failure is 0
}
