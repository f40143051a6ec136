// SPDX-License-Identifier: MIT
// One SMBus request. The library sends no other requests to an I2C device than these two.
#pragma once

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>

#include <cstdint>

namespace kvrn {

// The result of the ioctl, negative on failure.
inline int i2c_select(int fd, std::uint32_t address) {
  return ::ioctl(fd, I2C_SLAVE, static_cast<unsigned long>(address));
}

inline int smbus_transfer(int fd, char direction, std::uint32_t reg, std::uint32_t size, i2c_smbus_data& data) {
  i2c_smbus_ioctl_data request{static_cast<std::uint8_t>(direction), static_cast<std::uint8_t>(reg), size, &data};
  return ::ioctl(fd, I2C_SMBUS, &request);
}

}  // namespace kvrn
