/* SPDX-License-Identifier: MIT */
/**
 * @file hw.h  One-shot access to GPIO lines, I2C devices, sysfs and hwmon attributes, and the output power monitors.
 *
 * Nothing is held between calls: each opens, acts and closes. The functions keep no state, but the system id that
 * picks the output monitors is fetched through board_identify(), which is not thread-safe at its first call.
 */
#ifndef KVRN_HW_H
#define KVRN_HW_H

#include <kvrn/export.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

/** What the GPIO read functions return when the line could not be read. */
#define KVRN_GPIO_FAILED 255

struct gpiod_chip;
struct gpiod_line_request;

/*
 * GPIO lines. A line is named by chip path and line name, or by its packed number: chip index * 100 + line offset.
 * Chip 0 is the SoC's block, 1 and 2 are I2C expanders; other chips do not exist and fail. The empty text names no line
 * and fails, although the device tree leaves lines unnamed. A line that another process holds is tried 10 times, 1 ms
 * apart.
 */

/** Path of a chip: "/dev/gpiochip/by-label/..." for 0, 1 and 2, the empty text for any other. Static, never freed. */
KVRN_API const char* get_chip_path(uint32_t chip_index);

/**
 * Requests one line without a consumer name.
 * @param chip      null gives null; stays the caller's
 * @param direction 0 input, above 0 output (driven inactive), below 0 as the line is
 * @return a request that the caller releases with gpiod_line_request_release(), or null after 10 attempts
 */
KVRN_API struct gpiod_line_request* request_line(struct gpiod_chip* chip, uint32_t offset, int direction);

/**
 * Reads a line by its name, in the direction that it has.
 * @param chip_path as of get_chip_path(); null fails
 * @param line_name null fails
 * @return 1 active, 0 inactive, 255 on any failure
 */
KVRN_API int gpio_read_by_name(const char* chip_path, const char* line_name);

/** Reads a line by its packed number, in the direction that it has. @return as gpio_read_by_name() */
KVRN_API int gpio_read(uint32_t line);

/** gpio_read_by_name() of a line that is turned into an input first, and stays one. */
KVRN_API int gpio_read_by_name_force(const char* chip_path, const char* line_name);

/** gpio_read() of a line that is turned into an input first, and stays one. */
KVRN_API int gpio_read_force(uint32_t line);

/**
 * Drives a line, unless it already reads as `value`. The line is first requested as an output without a value, so it
 * is inactive for a moment; after the call nothing holds the level.
 * @param chip_path as of get_chip_path(); null fails
 * @param offset    used when `line_name` is null
 * @param value     0 inactive, anything else active; only 0 and 1 can be skipped as already right
 * @return 0 on success or when nothing needed doing, -1 on failure
 */
KVRN_API int gpio_write_ex(const char* chip_path, uint32_t offset, const char* line_name, uint32_t value);

/** gpio_write_ex() of a line by its name; a null name fails. */
KVRN_API int gpio_write_by_name(const char* chip_path, const char* line_name, uint32_t value);

/** gpio_write_ex() of a line by its packed number. */
KVRN_API int gpio_write(uint32_t line, uint32_t value);

/** Does nothing; kept because programs link to it. */
KVRN_API void gpio_oe(void);

/**
 * Opens "/dev/i2c-%d" read-write and selects a slave.
 * @return a descriptor (close-on-exec) that the caller closes, or a negative number
 */
KVRN_API int i2cdev_open(int bus, uint32_t address);

/**
 * Reads a byte register, in one SMBus transfer.
 * @param fd  a descriptor of i2cdev_open()
 * @param out may be null; untouched on failure
 * @return the ioctl's result, negative on failure
 */
KVRN_API int i2cdev_readb(int fd, uint32_t reg, uint8_t* out);

/** Writes the low 8 bits of a value to a byte register. @return as i2cdev_readb() */
KVRN_API int i2cdev_writeb(int fd, uint32_t reg, uint32_t value);

/** As i2cdev_readb(), a word register of a device that sends the low byte first. */
KVRN_API int i2cdev_readw(int fd, uint32_t reg, uint16_t* out);

/** As i2cdev_readb(), a word register of a device that sends the high byte first. */
KVRN_API int i2cdev_readws(int fd, uint32_t reg, uint16_t* out);

/**
 * Opens "/dev/i2c-BUS", does i2cdev_readw(), closes. Address and register are masked to 8 bits.
 * @return the value; 0 on failure, which cannot be told from a reading of 0
 */
KVRN_API uint16_t i2c_read_word(uint32_t bus, uint32_t address, uint32_t reg);

/** i2c_read_word() of a device that sends the high byte first. */
KVRN_API uint16_t i2c_read_word_swapped(uint32_t bus, uint32_t address, uint32_t reg);

/** As i2c_read_word(), a byte register. */
KVRN_API uint8_t i2c_read_byte(uint32_t bus, uint32_t address, uint32_t reg);

/**
 * An integer attribute of an I2C device, from "/sys/devices/platform/i2c/i2c-0/i2c-BUS/BUS-ADDR/ATTRIBUTE". ADDR is
 * the low 8 bits of the address as a signed decimal number of at least four digits: address 72 is "0072".
 * @param out untouched on failure
 * @return 0, or -1 (no file, no integer, null `out`)
 */
KVRN_API int i2c_sysfs_readint(int bus, int address, const char* attribute, int* out);

/** An integer attribute of a hwmon device, from "/var/run/hwmon/DEVICE/ATTRIBUTE"; otherwise as i2c_sysfs_readint(). */
KVRN_API int i2c_hwmon_readint(const char* device, const char* attribute, int* out);

/**
 * Voltage of a DC output in mV, by its monitor in "/var/run/hwmon".
 * @param output from 0
 * @return the reading; 0 when it fails, is negative, or the board has no such output
 */
KVRN_API int isl28022_read_voltage_id_direct(uint32_t output);

/** Current of a DC output in mA; otherwise as isl28022_read_voltage_id_direct(). */
KVRN_API int isl28022_read_current_id_direct(uint32_t output);

/** Power of a DC output in uW, the product of both, which wraps at 32 bits; 0 when either reading is. */
KVRN_API int isl28022_read_power_id_direct(uint32_t output);

/** Power of all DC outputs together in uW, by their monitors; wraps at 32 bits. What fails counts as 0. */
KVRN_API int isl28022_read_power_out_direct(void);

KVRN_END_DECLS

#endif
