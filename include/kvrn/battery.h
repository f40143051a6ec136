/* SPDX-License-Identifier: MIT */
/**
 * @file battery.h  The smart battery (SBS) on I2C bus 2, the file its readings are published in, what the battery
 * monitoring process keeps about each battery in files, and the capacity estimate.
 *
 * The functions that take a PSU number mean a battery's: 2 or 3. They read the files of battery (PSU number - 2):
 * "/tmp/.battery_info" belongs to PSU 2, "/tmp/.battery_info_1" to PSU 3. Several threads may call them at once, but
 * for get_filename_bat_psu_id(), get_battery_internal_resistance() and the capacity estimate, which keep something, and
 * for the first read_battery_flags() or read_battery_flags_v2(), which identifies the board.
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
 * One smart battery's readings, 88 bytes, big-endian: the unit of "/tmp/.raw_battery_data". What was not read keeps
 * its marker: INT32_MIN, 129 degrees, the float with bits 0xCF000000, the date -2147483648.
 */
typedef struct kvrn_sbs_battery_info {
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
 * Reads the battery over "/dev/i2c-2" in up to five passes; takes from about 10 ms to, when the battery does not
 * answer, some 50 ms. No lock is taken: the bus may be shared.
 * @param out filled with markers first
 * @return 1, also when some or all readings failed; 0 when the bus cannot be opened or `out` is null
 */
KVRN_API int sbs_battery_get_direct(kvrn_sbs_battery_info* out);

/**
 * Reads the smart battery of a source over its bus, as sbs_battery_get_direct() reads the one of the boards so far.
 * @param psu number of the source
 * @param[out] out the unknown markers where the battery gave no answer; as the caller had it for a source that is no
 *             smart battery
 * @return 1, or 0 when the source is no smart battery, the bus cannot be opened or `out` is NULL
 */
KVRN_API int kvrn_smart_battery_read(int psu, kvrn_sbs_battery_info* out);

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
KVRN_API int get_battery_info(int index, kvrn_sbs_battery_info* out);

/* ---- Battery files ---- */

/**
 * The name of a battery's file.
 * @param base    path of the first battery's file
 * @param battery below 1: the answer is `base`; otherwise "<base>_<battery>"
 * @return `base`, or a static buffer that the next call overwrites (the empty text when 511 characters do not do)
 */
KVRN_API const char* get_filename_bat_psu_id(const char* base, int battery);

/**
 * State of charge and run time from "/tmp/.battery_info": four integers, of which the last may be missing. The file is
 * tried three times, with a rest of 200 ms after each failed try: a missing file costs 600 ms.
 * @param time_s, third, fourth set to the numbers that follow the charge, as far as they are there, also when the
 *        result is -2; `fourth` is -1 when missing. Null is allowed.
 * @return percent; -2 when there are fewer than three numbers
 */
KVRN_API int get_battery_data_v2(int psu, int32_t* time_s, int32_t* third, int32_t* fourth);

/** get_battery_data_v2() without the fourth number. */
KVRN_API int get_battery_data(int psu, int32_t* time_s, int32_t* third);

/** 1 when any battery flag outside 0x1B4 is set, else 0. */
KVRN_API int is_battery_error_flag(uint32_t flags);

/**
 * The battery's flags and charge figure from "/etc/persistent/battery_data". While its charger is idle
 * ("/tmp/.batt_ch_status" for PSU 2, "/tmp/.batt_li_ch_status" for any other, holds a number of 0 or below) the
 * figures are -1 and the flags lose 0x30. A file that is not of version 2 stays open: one such descriptor at a time,
 * the next one (of get_battery_internal_resistance() too) closes it.
 * @param flags  status bits
 * @param charge charge figure in mAh; -1 when is_battery_error_flag() of the flags
 * @return 1; 0 (outputs untouched) without a record. Null outputs are allowed.
 */
KVRN_API int read_battery_flags(int psu, uint32_t* flags, int32_t* charge);

/** As read_battery_flags(). @param current discharge current in mA; -1 while the charger is idle */
KVRN_API int read_battery_flags_v2(int psu, uint32_t* flags, int32_t* charge, int32_t* current);

/**
 * The flags as read_battery_flags_v2() has them, for a caller that has read the charger's file already.
 * @param psu number of the source
 * @param charger_active what "/tmp/.batt_ch_status" or "/tmp/.batt_li_ch_status" says: 1 for a positive number or none
 * @param[out] flags as the caller had it when there is no record; NULL: not wanted
 * @return 1, or 0 when there is no record of version 2
 */
KVRN_API int kvrn_battery_flags(int psu, int charger_active, uint32_t* flags);

/**
 * The first parameter of "/etc/persistent/battery_data2", read again when the file's modification time changes. One
 * value is kept per process, whatever the battery. A file that is not of version 1 is deleted, and its descriptor stays
 * open as with read_battery_flags().
 * @return the last value read when there is no file; 0 when the file holds none
 */
KVRN_API int get_battery_internal_resistance(int psu);

/**
 * A running calibration, from "/tmp/.calibrating" (two integers).
 * @param percentage 100 when there is none; null is allowed
 * @return the calibration state, of which consumers use the low four bits; 0 when there is none
 */
KVRN_API int read_battery_calibrating(int psu, int32_t* percentage);

/* ---- Capacity of the lead-acid battery, PSU 2 ---- */

/**
 * Capacity in mAh: the charge figure of read_battery_flags_v2() corrected by Peukert's law, or the nominal capacity
 * when there is none. Nominal capacity, exponent and rated time come from "psu.monitor.battery.capacity" (Ah, 20),
 * "psu.monitor.battery.peukert" (x 1000) and "psu.monitor.battery.capacity_time" (hours) of "/tmp/system.cfg"; they
 * are kept for the life of the process and read again when that file changes (time or size), while it is missing, and
 * while they are 0. One thread at a time.
 */
KVRN_API int read_lcm_battery_capacity_mah(void);

/** Peukert exponent of a battery of this capacity. @param fixed non-zero: 1.01 whatever the capacity */
KVRN_API double get_bat_peukert_ex(uint32_t capacity_ah, int fixed);

/** Reference current in mA. @param hours rated discharge time; 0: 20 below 31 Ah, else 10 */
KVRN_API uint32_t get_calib_current_from_Ah(uint32_t hours, uint32_t capacity_ah);

/**
 * amount x (current / reference) ^ (exponent - 1), cut to a whole number.
 * @return `amount` itself when the reference is 0 or the exponent below 1; UINT64_MAX for what does not fit
 */
KVRN_API uint64_t apply_peukert_ex(uint64_t amount, uint64_t current, uint64_t reference, double exponent);

/** apply_peukert_ex(), but never below 95 % of the amount. */
KVRN_API uint64_t apply_peukert(uint64_t amount, uint64_t current, uint64_t reference, double exponent);

/**
 * The voltage that a battery would have without load.
 * @param voltage    mV
 * @param current    mA, positive = discharging
 * @param resistance when not 0, the result is voltage + current / 1000 x resistance
 * @param cells      scales the curve that serves without a resistance; below 1 counts as 1
 * @return mV; a voltage below 1 is returned as it is by the curve
 */
KVRN_API int getVoltageOpenCircuit(int voltage, int current, int resistance, int cells);

/** The same for a lithium battery, by its curve. */
KVRN_API int getVoltageOpenCircuitLi(int voltage, int current);

KVRN_END_DECLS

#endif
