/* SPDX-License-Identifier: MIT */
/**
 * @file battery.h  The smart battery (SBS) on I2C bus 2, the file with its published readings, the files that the
 * battery monitoring process keeps for each battery, and the capacity estimate.
 *
 * Here a PSU number is the number of a battery: 2 or 3. The functions read the files of battery (PSU number - 2):
 * "/tmp/.battery_info" belongs to PSU 2, "/tmp/.battery_info_1" to PSU 3.
 *
 * Several threads may call these functions at once, with two exceptions. get_filename_bat_psu_id(),
 * get_battery_internal_resistance() and the capacity estimate keep static data. The first call of read_battery_flags(),
 * read_battery_flags_v2() or kvrn_smart_battery_read() identifies the board.
 */
#ifndef KVRN_BATTERY_H
#define KVRN_BATTERY_H

#include <kvrn/bytes.h>
#include <kvrn/export.h>
#include <stddef.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

#define KVRN_SBS_CELLS 7

/**
 * The readings of one smart battery, 88 bytes, big-endian. "/tmp/.raw_battery_data" has four such records. A field that
 * was not read keeps its marker: INT32_MIN, 129 degrees, the float with bits 0xCF000000, the date -2147483648.
 */
typedef struct kvrn_sbs_battery_info {
  uint8_t complete;   /**< 1: a full pass succeeded, or the mode bits of the battery are 0 */
  uint8_t charging;   /**< 1: charging, according to the status bits or the current */
  kvrn_be_i16 temp_c; /**< degrees Celsius */
  kvrn_be_i32 voltage_mv;
  kvrn_be_i32 current_ma; /**< positive = discharging */
  kvrn_be_f32 charge_pct; /**< state of charge in percent, at most 100 */
  kvrn_be_i32 time_to_empty_s;
  kvrn_be_i32 time_to_full_s;
  kvrn_be_i32 charge_state; /**< state code of the battery: 4, 2 or 7; 0 unknown */
  kvrn_be_i32 full_capacity_mah;
  kvrn_be_i32 design_capacity_mah;
  kvrn_be_i32 cycle_count;
  kvrn_be_i32 cell_mv[KVRN_SBS_CELLS];
  kvrn_be_i32 block_51; /**< value of the battery; not used by the library */
  kvrn_be_i32 block_55;
  uint8_t reserved[4];
  kvrn_be_i64 manufacture_time; /**< seconds since 1970, UTC */
} kvrn_sbs_battery_info;

KVRN_STATIC_ASSERT(sizeof(kvrn_sbs_battery_info) == 88, "a smart-battery record is 88 bytes");
KVRN_STATIC_ASSERT(offsetof(kvrn_sbs_battery_info, temp_c) == 2, "kvrn_sbs_battery_info.temp_c");
KVRN_STATIC_ASSERT(offsetof(kvrn_sbs_battery_info, voltage_mv) == 4, "kvrn_sbs_battery_info.voltage_mv");
KVRN_STATIC_ASSERT(offsetof(kvrn_sbs_battery_info, charge_pct) == 12, "kvrn_sbs_battery_info.charge_pct");
KVRN_STATIC_ASSERT(offsetof(kvrn_sbs_battery_info, charge_state) == 24, "kvrn_sbs_battery_info.charge_state");
KVRN_STATIC_ASSERT(offsetof(kvrn_sbs_battery_info, cycle_count) == 36, "kvrn_sbs_battery_info.cycle_count");
KVRN_STATIC_ASSERT(offsetof(kvrn_sbs_battery_info, cell_mv) == 40, "kvrn_sbs_battery_info.cell_mv");
KVRN_STATIC_ASSERT(offsetof(kvrn_sbs_battery_info, block_51) == 68, "kvrn_sbs_battery_info.block_51");
KVRN_STATIC_ASSERT(offsetof(kvrn_sbs_battery_info, block_55) == 72, "kvrn_sbs_battery_info.block_55");
KVRN_STATIC_ASSERT(offsetof(kvrn_sbs_battery_info, manufacture_time) == 80, "kvrn_sbs_battery_info.manufacture_time");

/** "/tmp/.raw_battery_data": four records and the monotonic time in seconds of the last refresh, 360 bytes. */
typedef struct kvrn_raw_battery_image {
  kvrn_sbs_battery_info records[4];
  kvrn_be_i64 stamp;
} kvrn_raw_battery_image;

KVRN_STATIC_ASSERT(sizeof(kvrn_raw_battery_image) == 360, "the raw battery file is 360 bytes");
KVRN_STATIC_ASSERT(offsetof(kvrn_raw_battery_image, stamp) == 352, "kvrn_raw_battery_image.stamp");

/**
 * Reads the battery over "/dev/i2c-2" in up to five passes. This takes about 10 ms, or about 50 ms when the battery
 * does not answer. The function takes no lock, because other processes may use the bus too.
 * @param out filled with markers first
 * @return 1, even when some or all readings failed; 0 when the bus cannot be opened or `out` is null
 */
KVRN_API int sbs_battery_get_direct(kvrn_sbs_battery_info* out);

/**
 * Reads the smart battery of a power source over its own bus. Apart from the bus it works like
 * sbs_battery_get_direct().
 * @param psu number of the power source
 * @param[out] out has the unknown markers where the battery gave no answer; unchanged when the source is no smart
 *                 battery
 * @return 1, or 0 when the source is no smart battery, the bus cannot be opened or `out` is NULL
 */
KVRN_API int kvrn_smart_battery_read(int psu, kvrn_sbs_battery_info* out);

/**
 * Reads an attribute of the battery's power-supply class, "/sys/class/power_supply/sbs-2-000b/ATTRIBUTE". The format is
 * "%lli": "0x1f" is hexadecimal and "017" is octal.
 * @param out unchanged on failure
 * @return 1, or 0 (no file, no number, null argument)
 */
KVRN_API int read_sbs_int_value(const char* attribute, int64_t* out);

/** Sends the battery's shutdown command twice. @return 1 when both were accepted, 0 after 5 failed tries */
KVRN_API int sbs_battery_shutdown(void);

/**
 * Reads a record of "/tmp/.raw_battery_data" if this file is at most 10 seconds old.
 * @param index 0 to 3; the PSU readout uses the PSU number
 * @param out   zeroed first in every case
 * @return 1, or 0 (no file, wrong size, too old, bad argument)
 */
KVRN_API int get_battery_info(int index, kvrn_sbs_battery_info* out);

/* ---- Battery files ---- */

/**
 * The file name of a battery.
 * @param base    path of the file of the first battery
 * @param battery below 1: the result is `base`; otherwise "<base>_<battery>"
 * @return `base`, or a static buffer that the next call overwrites. The buffer has the empty text when the name is
 *         longer than 511 characters.
 */
KVRN_API const char* get_filename_bat_psu_id(const char* base, int battery);

/**
 * State of charge and run time from "/tmp/.battery_info". The file has four integers; the last one may be missing. The
 * function tries up to three times and waits 200 ms after each failed try: a missing file takes 600 ms.
 * @param time_s, third, fourth receive the numbers after the charge, as far as the file has them, even when the result
 *                is -2. `fourth` is -1 when the file has no fourth number. May be null.
 * @return percent; -2 when the file has fewer than three numbers
 */
KVRN_API int get_battery_data_v2(int psu, int32_t* time_s, int32_t* third, int32_t* fourth);

/** get_battery_data_v2() without the fourth number. */
KVRN_API int get_battery_data(int psu, int32_t* time_s, int32_t* third);

/** 1 when any battery flag other than 0x1B4 is set, else 0. */
KVRN_API int is_battery_error_flag(uint32_t flags);

/**
 * Reads the flags and the charge figure of a battery from "/etc/persistent/battery_data". The charger is idle when
 * "/tmp/.batt_ch_status" (PSU 2) or "/tmp/.batt_li_ch_status" (any other PSU) holds a number of 0 or below. While the
 * charger is idle, the figures are -1 and the bits 0x30 of the flags are cleared. A file with a version other than 2
 * stays open. Only one such descriptor is open at a time: the next one closes it, also one from
 * get_battery_internal_resistance().
 * @param flags  status bits
 * @param charge charge figure in mAh; -1 when is_battery_error_flag() is 1 for the flags
 * @return 1; 0 (outputs unchanged) when there is no record. Outputs may be null.
 */
KVRN_API int read_battery_flags(int psu, uint32_t* flags, int32_t* charge);

/** Like read_battery_flags(). @param current discharge current in mA; -1 while the charger is idle */
KVRN_API int read_battery_flags_v2(int psu, uint32_t* flags, int32_t* charge, int32_t* current);

/**
 * Reads the same flags as read_battery_flags_v2(), for a caller that has already read the charger's file.
 * @param psu number of the power source
 * @param charger_active state from "/tmp/.batt_ch_status" or "/tmp/.batt_li_ch_status": 1 when the file is missing, or
 *                       holds a positive number or no number
 * @param[out] flags unchanged when there is no record; may be NULL
 * @return 1, or 0 when there is no record of version 2
 */
KVRN_API int kvrn_battery_flags(int psu, int charger_active, uint32_t* flags);

/**
 * The internal resistance of a battery: the first parameter of "/etc/persistent/battery_data2". The file is read again
 * when its modification time changes. The process keeps a single value for all batteries. A file with a version other
 * than 1 is deleted, and its descriptor stays open as in read_battery_flags().
 * @return the value; the last value read when there is no file; 0 when the file has no value
 */
KVRN_API int get_battery_internal_resistance(int psu);

/**
 * The state of a running calibration, from "/tmp/.calibrating" (two integers).
 * @param percentage 100 when there is no calibration; may be null
 * @return the calibration state, of which programs use the low four bits; 0 when there is no calibration
 */
KVRN_API int read_battery_calibrating(int psu, int32_t* percentage);

/* ---- Capacity of the lead-acid battery, PSU 2 ---- */

/**
 * Capacity in mAh. This is the charge figure of read_battery_flags_v2(), corrected by Peukert's law, or the nominal
 * capacity when there is no charge figure. The settings are in "/tmp/system.cfg": the nominal capacity
 * "psu.monitor.battery.capacity" (Ah, default 20), the exponent "psu.monitor.battery.peukert" (x 1000) and the rated
 * time "psu.monitor.battery.capacity_time" (hours). The process keeps the settings. It reads them again when the file
 * changes (time or size), while the file is missing, and while a setting is 0. Only one thread at a time may call this
 * function.
 */
KVRN_API int read_lcm_battery_capacity_mah(void);

/** Peukert exponent of a battery with this capacity. @param fixed non-zero: the result is 1.01 for any capacity */
KVRN_API double get_bat_peukert_ex(uint32_t capacity_ah, int fixed);

/** Reference current in mA. @param hours rated discharge time; 0 means 20 hours below 31 Ah, else 10 hours */
KVRN_API uint32_t get_calib_current_from_Ah(uint32_t hours, uint32_t capacity_ah);

/**
 * amount x (current / reference) ^ (exponent - 1), rounded down to a whole number.
 * @return `amount` itself when the reference is 0 or the exponent is below 1; UINT64_MAX when the result does not fit
 */
KVRN_API uint64_t apply_peukert_ex(uint64_t amount, uint64_t current, uint64_t reference, double exponent);

/** apply_peukert_ex(), but at least 95 % of the amount. */
KVRN_API uint64_t apply_peukert(uint64_t amount, uint64_t current, uint64_t reference, double exponent);

/**
 * The voltage that a battery would have without load.
 * @param voltage    mV
 * @param current    mA, positive = discharging
 * @param resistance when not 0, the result is voltage + current / 1000 x resistance
 * @param cells      scales the curve that is used when the resistance is 0; a value below 1 counts as 1
 * @return mV; the curve returns a voltage below 1 unchanged
 */
KVRN_API int getVoltageOpenCircuit(int voltage, int current, int resistance, int cells);

/** Like getVoltageOpenCircuit(), for a lithium battery and with its curve. */
KVRN_API int getVoltageOpenCircuitLi(int voltage, int current);

KVRN_END_DECLS

#endif
