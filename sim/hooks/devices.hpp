// SPDX-License-Identifier: MIT
// The device models: what an ioctl on one of the device's files does. They report errors as the kernel does: -1 and
// errno.
#pragma once

namespace kvrn::sim {

// `label` is the chip's name under /dev/gpiochip/by-label. @return -1 when the device does not have the chip
int gpio_chip_number(const char* label);
int gpio_chip_ioctl(const char* label, unsigned long request, void* argument);

// `name` is the line's packed number in decimal.
int gpio_line_ioctl(const char* name, unsigned long request, void* argument);

// `bus` is the number in "/dev/i2c-N", in decimal.
int i2c_ioctl(int fd, const char* bus, unsigned long request, void* argument);

// `name` is "mtdN".
int mtd_ioctl(const char* name, unsigned long request, void* argument);

}  // namespace kvrn::sim
