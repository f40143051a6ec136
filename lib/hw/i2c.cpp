// SPDX-License-Identifier: MIT
// I2C character devices with SMBus transfers.
#include <kvrn/bytes.h>
#include <kvrn/hw.h>

#include "hw/smbus.hpp"
#include "util/handle.hpp"
#include "util/number.hpp"
#include "util/text.hpp"

namespace {

constexpr uint16_t swapped(uint16_t word) { return kvrn::byte_swapped(word); }

kvrn::Fd open_device(int bus, uint32_t address) {
  const kvrn::Text<32> path("/dev/i2c-%d", bus);
  kvrn::Fd fd = kvrn::Fd::open(path.c_str(), O_RDWR);
  if (fd && kvrn::i2c_select(fd.get(), address) < 0) fd.reset();
  return fd;
}

}  // namespace

int i2cdev_open(int bus, uint32_t address) { return open_device(bus, address).release(); }

int i2cdev_readb(int fd, uint32_t reg, uint8_t* out) {
  i2c_smbus_data data{};
  const int result = kvrn::smbus_transfer(fd, I2C_SMBUS_READ, reg, I2C_SMBUS_BYTE_DATA, data);
  if (result >= 0 && out != nullptr) *out = data.byte;
  return result;
}

int i2cdev_writeb(int fd, uint32_t reg, uint32_t value) {
  i2c_smbus_data data{};
  data.byte = static_cast<uint8_t>(value);
  return kvrn::smbus_transfer(fd, I2C_SMBUS_WRITE, reg, I2C_SMBUS_BYTE_DATA, data);
}

int i2cdev_readw(int fd, uint32_t reg, uint16_t* out) {
  i2c_smbus_data data{};
  const int result = kvrn::smbus_transfer(fd, I2C_SMBUS_READ, reg, I2C_SMBUS_WORD_DATA, data);
  if (result >= 0 && out != nullptr) *out = data.word;
  return result;
}

int i2cdev_readws(int fd, uint32_t reg, uint16_t* out) {
  uint16_t word = 0;
  const int result = ::i2cdev_readw(fd, reg, &word);
  if (result >= 0 && out != nullptr) *out = swapped(word);
  return result;
}

uint16_t i2c_read_word(uint32_t bus, uint32_t address, uint32_t reg) {
  const kvrn::Fd fd = open_device(kvrn::wrap_i32(bus), address & 0xFF);
  uint16_t word = 0;
  if (fd) (void)::i2cdev_readw(fd.get(), reg & 0xFF, &word);  // a failure is documented as 0
  return word;
}

uint16_t i2c_read_word_swapped(uint32_t bus, uint32_t address, uint32_t reg) {
  return swapped(::i2c_read_word(bus, address, reg));
}

uint8_t i2c_read_byte(uint32_t bus, uint32_t address, uint32_t reg) {
  const kvrn::Fd fd = open_device(kvrn::wrap_i32(bus), address & 0xFF);
  uint8_t byte = 0;
  if (fd) (void)::i2cdev_readb(fd.get(), reg & 0xFF, &byte);  // a failure is documented as 0
  return byte;
}
