/* SPDX-License-Identifier: MIT */
/**
 * @file hw.h  One-shot access to GPIO lines, I2C devices, sysfs and hwmon attributes, and the output power monitors.
 *
 * Each call opens what it needs, acts, and closes it again. The functions keep no state. One exception: the functions
 * of the output monitors need the system id, which comes from board_identify(). The first call of board_identify() is
 * not thread-safe.
 */
#ifndef KVRN_HW_H
#define KVRN_HW_H

#include <kvrn/export.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

/** The result of the GPIO read functions when they cannot read the line. */
#define KVRN_GPIO_FAILED 255

struct gpiod_chip;
struct gpiod_line_request;

/*
 * GPIO lines. A line is named by chip path and line name, or by its packed number: chip index * 100 + line offset. Chip
 * 0 is the GPIO block of the SoC, chips 1 and 2 are I2C expanders. A call for any other chip fails. A call with an
 * empty line name also fails: it must not match a line that the device tree leaves unnamed. When another process holds
 * the line, a call tries 10 times and waits 1 ms after each try.
 */

/** The path of a chip: "/dev/gpiochip/by-label/..." for chips 0, 1 and 2, else the empty text. Static, never freed. */
KVRN_API const char* get_chip_path(uint32_t chip_index);

/**
 * Requests one line without a consumer name.
 * @param chip      not closed by the call; null gives null
 * @param direction 0: input; above 0: output, driven inactive; below 0: unchanged
 * @return a request that the caller releases with gpiod_line_request_release(), or null after 10 attempts
 */
KVRN_API struct gpiod_line_request* request_line(struct gpiod_chip* chip, uint32_t offset, int direction);

/**
 * Reads a line by its name. The line keeps its direction.
 * @param chip_path as get_chip_path() returns it; null fails
 * @param line_name null fails
 * @return 1 active, 0 inactive, 255 on any failure
 */
KVRN_API int gpio_read_by_name(const char* chip_path, const char* line_name);

/** Reads a line by its packed number. The line keeps its direction. @return as gpio_read_by_name() */
KVRN_API int gpio_read(uint32_t line);

/** Makes the line an input, then does the same as gpio_read_by_name(). The line stays an input. */
KVRN_API int gpio_read_by_name_force(const char* chip_path, const char* line_name);

/** Makes the line an input, then does the same as gpio_read(). The line stays an input. */
KVRN_API int gpio_read_force(uint32_t line);

/**
 * Drives a line, unless the line already reads as `value`. The call first requests the line as an output without a
 * value, so the line is inactive for a moment. The call releases the line at its end: from then on nothing holds the
 * level.
 * @param chip_path as get_chip_path() returns it; null fails
 * @param offset    used when `line_name` is null
 * @param value     0: inactive; any other value: active. A value above 1 drives the line in every case.
 * @return 0 on success or when the line already had the level, -1 on failure
 */
KVRN_API int gpio_write_ex(const char* chip_path, uint32_t offset, const char* line_name, uint32_t value);

/** gpio_write_ex() for a line name. A null name fails. */
KVRN_API int gpio_write_by_name(const char* chip_path, const char* line_name, uint32_t value);

/** gpio_write_ex() for a packed line number. */
KVRN_API int gpio_write(uint32_t line, uint32_t value);

/** Does nothing. The function exists because programs link to it. */
KVRN_API void gpio_oe(void);

/**
 * Opens "/dev/i2c-%d" read-write and selects a slave.
 * @return a descriptor (close-on-exec) that the caller closes, or a negative number
 */
KVRN_API int i2cdev_open(int bus, uint32_t address);

/**
 * Reads a byte register with one SMBus transfer.
 * @param fd  a descriptor of i2cdev_open()
 * @param out may be null; unchanged on failure
 * @return the result of the ioctl, negative on failure
 */
KVRN_API int i2cdev_readb(int fd, uint32_t reg, uint8_t* out);

/** Writes the low 8 bits of a value to a byte register. @return as i2cdev_readb() */
KVRN_API int i2cdev_writeb(int fd, uint32_t reg, uint32_t value);

/** Like i2cdev_readb(), for a word register of a device that sends the low byte first. */
KVRN_API int i2cdev_readw(int fd, uint32_t reg, uint16_t* out);

/** Like i2cdev_readb(), for a word register of a device that sends the high byte first. */
KVRN_API int i2cdev_readws(int fd, uint32_t reg, uint16_t* out);

/**
 * Opens "/dev/i2c-BUS", reads a register like i2cdev_readw(), and closes the bus. Only the low 8 bits of the address
 * and of the register number are used.
 * @return the value, or 0 on failure. A caller cannot tell a failure from a reading of 0.
 */
KVRN_API uint16_t i2c_read_word(uint32_t bus, uint32_t address, uint32_t reg);

/** i2c_read_word() for a device that sends the high byte first. */
KVRN_API uint16_t i2c_read_word_swapped(uint32_t bus, uint32_t address, uint32_t reg);

/** Like i2c_read_word(), for a byte register. */
KVRN_API uint8_t i2c_read_byte(uint32_t bus, uint32_t address, uint32_t reg);

/**
 * Reads an integer attribute of an I2C device from "/sys/devices/platform/i2c/i2c-0/i2c-BUS/BUS-ADDR/ATTRIBUTE". ADDR
 * is the low 8 bits of the address as a signed decimal number, padded with zeros to four characters: address 72 is
 * "0072".
 * @param out unchanged on failure
 * @return 0, or -1 when there is no file or no integer, or `out` is null
 */
KVRN_API int i2c_sysfs_readint(int bus, int address, const char* attribute, int* out);

/**
 * Reads an integer attribute of a hwmon device from "/var/run/hwmon/DEVICE/ATTRIBUTE". The arguments and the result are
 * as in i2c_sysfs_readint().
 */
KVRN_API int i2c_hwmon_readint(const char* device, const char* attribute, int* out);

/**
 * Voltage of a DC output in mV, read from its monitor in "/var/run/hwmon".
 * @param output from 0
 * @return the reading; 0 when the read fails, the reading is negative, or the board has no such output
 */
KVRN_API int isl28022_read_voltage_id_direct(uint32_t output);

/** Current of a DC output in mA. The argument and the result are as in isl28022_read_voltage_id_direct(). */
KVRN_API int isl28022_read_current_id_direct(uint32_t output);

/** Power of a DC output in uW: voltage times current. The product wraps at 32 bits. 0 when either reading is 0. */
KVRN_API int isl28022_read_power_id_direct(uint32_t output);

/**
 * Sum of the power of all DC outputs in uW, read from their monitors. The sum wraps at 32 bits. A failed reading counts
 * as 0.
 */
KVRN_API int isl28022_read_power_out_direct(void);

KVRN_END_DECLS

#endif
