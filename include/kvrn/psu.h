/* SPDX-License-Identifier: MIT */
/**
 * @file psu.h  The power sources: platform rules, the per-supply record and its readout, the power budget and charging.
 *
 * PSU 0 and 1 are the mains/DC inputs, PSU 2 and 3 batteries. How many there are follows from the board. None of the
 * functions is thread-safe at its first call, which identifies the board.
 */
#ifndef KVRN_PSU_H
#define KVRN_PSU_H

#include <kvrn/bytes.h>
#include <kvrn/cache.h>
#include <kvrn/export.h>
#include <stddef.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

/** Records that are exchanged as one unit, whatever the board's PSU count. */
#define KVRN_PSU_MAX 4

/** `psu_info.type` */
enum kvrn_psu_type { KVRN_PSU_TYPE_EMPTY = 0, KVRN_PSU_TYPE_INPUT = 1, KVRN_PSU_TYPE_BATTERY = 2 };

/** `psu_info.status` */
enum kvrn_psu_status_bits {
  KVRN_PSU_STATUS_FILLED = 0x80,      /**< record filled by a readout */
  KVRN_PSU_STATUS_USABLE = 0x40,      /**< counts towards the power budget */
  KVRN_PSU_STATUS_MAINS = 0x20,       /**< batteries: mains on any input */
  KVRN_PSU_STATUS_CHARGER = 0x10,     /**< batteries: charger enabled */
  KVRN_PSU_STATUS_HIGH_CURRENT = 0x08 /**< batteries: highest charging current selected */
};

/** `psu_info.battery_status` */
enum kvrn_psu_battery_bits {
  KVRN_PSU_BATTERY_VALID = 0x80,
  KVRN_PSU_BATTERY_CHARGING = 0x40,
  KVRN_PSU_BATTERY_CHARGE_UNKNOWN = 0x20, /**< "/tmp/.charging_status" holds a negative number */
  KVRN_PSU_BATTERY_PRESENT = 0x10
};

/** `psu_info.battery_kind` */
enum kvrn_psu_battery_kind { KVRN_PSU_BATTERY_NONE = 0, KVRN_PSU_BATTERY_SMART = 1, KVRN_PSU_BATTERY_HWMON = 2 };

/** `psu_info.supply_status` */
#define KVRN_PSU_SUPPLY_TELEMETRY 0x80 /**< at least one supply value was read */

/** "Unknown" in a record. */
#define KVRN_PSU_UNKNOWN_I32 INT32_MIN
#define KVRN_PSU_UNKNOWN_TEMP (-127)
#define KVRN_PSU_UNKNOWN_PCT (-2147483648.0f)
#define KVRN_PSU_UNKNOWN_TIME (-INT64_C(2147483648))

/**
 * One power source, 136 bytes, big-endian: copied byte for byte into the cache file. What a path does not fill is
 * zero; what it could not read has the markers above.
 */
typedef struct psu_info {
  kvrn_be_u32 id; /**< PSU number */
  uint8_t status; /**< enum kvrn_psu_status_bits */
  uint8_t reserved0[3];
  kvrn_be_u32 type; /**< enum kvrn_psu_type */
  kvrn_be_u32 reserved1;
  uint8_t battery_status; /**< enum kvrn_psu_battery_bits */
  uint8_t battery_kind;   /**< enum kvrn_psu_battery_kind */
  int8_t battery_temp_c;  /**< degrees Celsius */
  uint8_t reserved2;
  kvrn_be_i32 voltage_mv; /**< battery voltage; 0 when the battery is absent */
  kvrn_be_i32 current_ma; /**< battery current; negative while charging */
  kvrn_be_u32 max_charge_power_mw;
  kvrn_be_f32 charge_pct; /**< state of charge, percent */
  kvrn_be_i32 time_to_empty_s;
  kvrn_be_i32 time_to_full_s;
  kvrn_be_i32 charge_state; /**< the smart battery's state code: 4, 2 or 7 */
  kvrn_be_i32 full_capacity_mah;
  kvrn_be_i32 design_capacity_mah;
  kvrn_be_u32 smart_battery; /**< 1 on the smart-battery path */
  kvrn_be_i32 cycle_count;
  kvrn_be_i32 cell_mv[8];
  kvrn_be_u32 cell_count; /**< meaningful entries of `cell_mv` */
  kvrn_be_i32 sbs_block_51;
  kvrn_be_i32 sbs_block_55;
  kvrn_be_u32 reserved3;
  kvrn_be_i64 manufacture_time; /**< seconds since 1970, UTC */
  uint8_t supply_status;        /**< KVRN_PSU_SUPPLY_TELEMETRY */
  int8_t supply_temp_c;         /**< degrees Celsius */
  uint8_t reserved4[2];
  kvrn_be_i32 supply_vout_mv;
  kvrn_be_i32 supply_iout_ma;
  kvrn_be_u32 reserved5;
} psu_info;

KVRN_STATIC_ASSERT(sizeof(psu_info) == 136, "a PSU record is 136 bytes");
KVRN_STATIC_ASSERT(offsetof(psu_info, status) == 4, "psu_info.status");
KVRN_STATIC_ASSERT(offsetof(psu_info, type) == 8, "psu_info.type");
KVRN_STATIC_ASSERT(offsetof(psu_info, battery_status) == 16, "psu_info.battery_status");
KVRN_STATIC_ASSERT(offsetof(psu_info, battery_temp_c) == 18, "psu_info.battery_temp_c");
KVRN_STATIC_ASSERT(offsetof(psu_info, voltage_mv) == 20, "psu_info.voltage_mv");
KVRN_STATIC_ASSERT(offsetof(psu_info, charge_pct) == 32, "psu_info.charge_pct");
KVRN_STATIC_ASSERT(offsetof(psu_info, charge_state) == 44, "psu_info.charge_state");
KVRN_STATIC_ASSERT(offsetof(psu_info, smart_battery) == 56, "psu_info.smart_battery");
KVRN_STATIC_ASSERT(offsetof(psu_info, cell_mv) == 64, "psu_info.cell_mv");
KVRN_STATIC_ASSERT(offsetof(psu_info, cell_count) == 96, "psu_info.cell_count");
KVRN_STATIC_ASSERT(offsetof(psu_info, sbs_block_55) == 104, "psu_info.sbs_block_55");
KVRN_STATIC_ASSERT(offsetof(psu_info, manufacture_time) == 112, "psu_info.manufacture_time");
KVRN_STATIC_ASSERT(offsetof(psu_info, supply_status) == 120, "psu_info.supply_status");
KVRN_STATIC_ASSERT(offsetof(psu_info, supply_vout_mv) == 124, "psu_info.supply_vout_mv");
KVRN_STATIC_ASSERT(offsetof(psu_info, supply_iout_ma) == 128, "psu_info.supply_iout_ma");

/** "/tmp/.psu_info_cache": four records and the monotonic time in seconds of the last refresh, 552 bytes. */
typedef struct kvrn_psu_info_image {
  psu_info records[KVRN_PSU_MAX];
  kvrn_be_i64 stamp; /**< -1: not refreshed since the writer mapped the file */
} kvrn_psu_info_image;

KVRN_STATIC_ASSERT(sizeof(kvrn_psu_info_image) == 552, "the PSU cache is 552 bytes");
KVRN_STATIC_ASSERT(offsetof(kvrn_psu_info_image, stamp) == 544, "kvrn_psu_info_image.stamp");

/** Number of power sources of this board: 4, 3 or 2. Identifies the board at the first call. */
KVRN_API int get_psu_count(void);

/** Whether the board has that power source: 0 <= psu < get_psu_count(). @return 1 or 0 */
KVRN_API int psu_id_valid(int psu);

/** KVRN_PSU_TYPE_INPUT for 0 and 1, KVRN_PSU_TYPE_BATTERY from 2 on, whatever the board. */
KVRN_API int psu_get_type(int psu);

/**
 * The hwmon names of the DC output monitors.
 * @param count set to their number; may be null
 * @return a null-terminated list in static storage
 */
KVRN_API const char* const* get_dc_out_addrs(int* count);

/**
 * All power sources: from `source` if given, else from "/tmp/.psu_info_cache" if that is at most 10 seconds old, else
 * read from the hardware (GPIO, I2C, hwmon, flag files; tens of milliseconds, more with a silent smart battery).
 * @param out    four records. A source or the cache fills all 544 bytes whatever the count; a readout fills only
 *               the records of the board's PSUs and leaves the rest as the caller had it.
 * @param source may be null; only its `get` is called
 * @return number of PSUs described; 0 when `out` is null
 */
KVRN_API int psu_info_get_all(psu_info* out, cache_source* source);

/**
 * Reads one power source from the hardware. Every failed reading has its default; the readout as a whole succeeds.
 * Logs "Unable to read charging status" when "/tmp/.charging_status" holds no number.
 * @return 0; -1 (record untouched) for a null record or a number that psu_id_valid() refuses
 */
KVRN_API int psu_info_get_direct(psu_info* out, int psu);

/**
 * Reads a GPIO line for the readout.
 * @param line  packed number, low 8 bits used
 * @param value set on success only
 * @return 0, or -1 when the line could not be read
 */
KVRN_API int read_gpio(int line, int* value);

/**
 * Mains on one input: "/tmp/.ac_on_status" ("/tmp/.ac_on_status2") if present, else GPIO 211 (212), active low.
 * @param input 0 or 1; any non-zero number is input 1
 * @return 1 or 0
 */
KVRN_API int is_ac_connected(int input);

/** Number of inputs with mains, each as is_ac_connected() tells it: 0, 1 or 2. */
KVRN_API int psu_info_ac_connected(void);

/** Current of the hwmon-monitored battery in mA on the three-source board (psu >= 2); 0 elsewhere or on failure. */
KVRN_API int get_battery_current(int psu);

/**
 * Temperature of an input supply, over I2C, whether or not it has mains.
 * @param input 0, or non-zero for input 1
 * @param temp  degrees Celsius; untouched when 0 is returned
 * @return 1 when the supply answered, else 0
 */
KVRN_API int get_psu_temp_info(int input, int* temp);

/** The higher of the two supply temperatures. @return 1; 0 (`temp` untouched) when neither supply answered */
KVRN_API int read_lcm_temperature(int* temp);

/** Level of the charger's status line (GPIO 110). @return 1 or 0; 1 when it cannot be read */
KVRN_API int get_chg_stat(void);

/* ---- Power budget, in mW ---- */

/** What psu_get_max_power_single_mW() and get_max_power_single_ex() answer at most. */
#define KVRN_MAX_SINGLE_POWER_MW 250000

/**
 * The power that the board may draw. One input supply alone gives the reduced figure; with a battery that counts and
 * may reinforce it (GPIO 112 reads 0), with several inputs, and with none, it is the full figure. Boards without
 * figures: 0.
 * @param inputs        usable input supplies
 * @param batteries     usable batteries
 * @param count_battery non-zero: a battery may reinforce a single input
 */
KVRN_API int psu_get_max_power_mW(int inputs, int batteries, int count_battery);

/** psu_get_max_power_mW() in mW with the battery counted, at most KVRN_MAX_SINGLE_POWER_MW. */
KVRN_API int psu_get_max_power_single_mW(int inputs, int batteries);

/**
 * psu_get_max_power_mW() of the usable sources among the first get_psu_count() records.
 * @param psus four records, as psu_info_get_all() fills them; null counts as no usable source
 */
KVRN_API int get_max_power_ex(const psu_info* psus, int count_battery);

/** get_max_power_ex() in mW with the battery counted. */
KVRN_API int get_max_power(const psu_info* psus);

/** get_max_power_ex() in mW, at most KVRN_MAX_SINGLE_POWER_MW. */
KVRN_API int get_max_power_single_ex(const psu_info* psus, int count_battery);

/**
 * The power that the board may draw now.
 * @param fixed  0: get_max_power() of psu_info_get_all(). Otherwise the board's fixed figure, whatever its supplies do:
 *               250000 on the three-source board, 0 elsewhere
 * @param source passed to psu_info_get_all(); may be null
 */
KVRN_API int get_max_usable_power_ex(int fixed, cache_source* source);

/** get_max_usable_power_ex() in mW without a source. */
KVRN_API int get_max_usable_power(int fixed);

/**
 * The power that the DC outputs deliver: from `source` if given, else from "/tmp/.output_cache" whatever its age; when
 * that fails, from the monitors. Sums wrap at 32 bits in uW, before the division by 1000.
 * @param output 0 all outputs, k output k (from 1)
 * @param source may be null; only its `get` is called
 * @return mW; 0 for an output that there is not, negative numbers included
 */
KVRN_API int get_output_power_ex(int output, cache_source* source);

/** get_output_power_ex() in mW without a source. */
KVRN_API int get_output_power(int output);

/* ---- Charging. The PSU number of a battery is 2 or 3. ---- */

/** Charging currents that psu_get_charging_options() writes, unused ones included. */
#define KVRN_CHARGING_OPTIONS 5

/** Charging power in mW of this board; the PSU number is not used. */
KVRN_API int get_max_charging_power(int psu);

/**
 * The charging currents of a PSU in mA, the highest first, zero behind the last. PSU 2 has its own; every other number
 * gets those of PSU 3.
 * @param currents KVRN_CHARGING_OPTIONS numbers; null is ignored
 */
KVRN_API void psu_get_charging_options(int psu, uint32_t* currents);

/**
 * Selects a charging current by its place in psu_get_charging_options(), through the charger's GPIO lines.
 * @return the last gpio_write()'s result; 0, and nothing is written, for a place without a current
 */
KVRN_API int psu_set_charging_current(int psu, int index);

/**
 * Enables or disables a battery's charger: GPIO 115 for PSU 3, 109 for any other battery; the lines disable.
 * @return gpio_write()'s result; 0, and nothing is written, for PSU numbers below 2
 */
KVRN_API int psu_set_charge(int psu, int on);

/** Always 1: no board can switch a PSU off. */
KVRN_API int psu_is_enabled(void);

/** Always 0, without effect. */
KVRN_API int psu_set_enabled(void);

KVRN_END_DECLS

#endif
