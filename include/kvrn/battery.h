/* SPDX-License-Identifier: MIT */
/** @file battery.h  The smart battery (SBS) on I2C bus 2 and the file its readings are published in. */
#ifndef KVRN_BATTERY_H
#define KVRN_BATTERY_H

#include <kvrn/bytes.h>
#include <kvrn/export.h>
#include <stddef.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

#define KVRN_SBS_CELLS 7

/**
 * One smart battery's readings, 88 bytes, big-endian: the unit of "/tmp/.raw_battery_data". What was not read keeps
 * its marker: INT32_MIN, 129 degrees, the float with bits 0xCF000000, the date -2147483648.
 */
typedef struct sbs_battery_info {
  uint8_t complete;   /**< 1: a full pass succeeded, or the battery reports mode bits 0 */
  uint8_t charging;   /**< 1: charging, by status bits or by current */
  kvrn_be_i16 temp_c; /**< degrees Celsius */
  kvrn_be_i32 voltage_mv;
  kvrn_be_i32 current_ma; /**< positive = discharging */
  kvrn_be_f32 charge_pct; /**< state of charge in percent, at most 100 */
  kvrn_be_i32 time_to_empty_s;
  kvrn_be_i32 time_to_full_s;
  kvrn_be_i32 charge_state; /**< the battery's state code: 4, 2 or 7; 0 unknown */
  kvrn_be_i32 full_capacity_mah;
  kvrn_be_i32 design_capacity_mah;
  kvrn_be_i32 cycle_count;
  kvrn_be_i32 cell_mv[KVRN_SBS_CELLS];
  kvrn_be_i32 block_51; /**< the battery's own; not interpreted here */
  kvrn_be_i32 block_55;
  uint8_t reserved[4];
  kvrn_be_i64 manufacture_time; /**< seconds since 1970, UTC */
} sbs_battery_info;

KVRN_STATIC_ASSERT(sizeof(sbs_battery_info) == 88, "a smart-battery record is 88 bytes");
KVRN_STATIC_ASSERT(offsetof(sbs_battery_info, temp_c) == 2, "sbs_battery_info.temp_c");
KVRN_STATIC_ASSERT(offsetof(sbs_battery_info, voltage_mv) == 4, "sbs_battery_info.voltage_mv");
KVRN_STATIC_ASSERT(offsetof(sbs_battery_info, charge_pct) == 12, "sbs_battery_info.charge_pct");
KVRN_STATIC_ASSERT(offsetof(sbs_battery_info, charge_state) == 24, "sbs_battery_info.charge_state");
KVRN_STATIC_ASSERT(offsetof(sbs_battery_info, cycle_count) == 36, "sbs_battery_info.cycle_count");
KVRN_STATIC_ASSERT(offsetof(sbs_battery_info, cell_mv) == 40, "sbs_battery_info.cell_mv");
KVRN_STATIC_ASSERT(offsetof(sbs_battery_info, block_51) == 68, "sbs_battery_info.block_51");
KVRN_STATIC_ASSERT(offsetof(sbs_battery_info, block_55) == 72, "sbs_battery_info.block_55");
KVRN_STATIC_ASSERT(offsetof(sbs_battery_info, manufacture_time) == 80, "sbs_battery_info.manufacture_time");

/** "/tmp/.raw_battery_data": four records and the monotonic time in seconds of the last refresh, 360 bytes. */
typedef struct raw_battery_image {
  sbs_battery_info records[4];
  kvrn_be_i64 stamp;
} raw_battery_image;

KVRN_STATIC_ASSERT(sizeof(raw_battery_image) == 360, "the raw battery file is 360 bytes");
KVRN_STATIC_ASSERT(offsetof(raw_battery_image, stamp) == 352, "raw_battery_image.stamp");

/**
 * Reads the battery over "/dev/i2c-2" in up to five passes; takes from about 10 ms to, when the battery does not
 * answer, some 50 ms. No lock is taken: the bus may be shared.
 * @param out filled with markers first
 * @return 1, also when some or all readings failed; 0 when the bus cannot be opened or `out` is null
 */
KVRN_API int sbs_battery_get_direct(sbs_battery_info* out);

/**
 * An attribute of the battery's power-supply class, "/sys/class/power_supply/sbs-2-000b/ATTRIBUTE" ("%lli", so "0x1f"
 * and "017" are hexadecimal and octal).
 * @param out untouched on failure
 * @return 1, or 0 (no file, no number, null argument)
 */
KVRN_API int read_sbs_int_value(const char* attribute, int64_t* out);

/** Sends the battery's shutdown command twice. @return 1 when both were accepted, 0 after 5 failed tries */
KVRN_API int sbs_battery_shutdown(void);

/**
 * A record of "/tmp/.raw_battery_data", if that file is at most 10 seconds old.
 * @param index 0 to 3; the PSU readout uses 3
 * @param out   zeroed first in every case
 * @return 1, or 0 (no file, wrong size, too old, bad argument)
 */
KVRN_API int get_battery_info(int index, sbs_battery_info* out);

KVRN_END_DECLS

#endif
