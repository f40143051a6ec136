/* SPDX-License-Identifier: MIT */
/**
 * @file psu.h  The power sources: platform rules, the record of a source and its readout, the power budget and
 * charging.
 *
 * PSU 0 and 1 are the mains/DC inputs, PSU 2 and 3 are batteries. The board determines how many there are. No function
 * is thread-safe at its first call, which identifies the board.
 */
#ifndef KVRN_PSU_H
#define KVRN_PSU_H

#include <kvrn/bytes.h>
#include <kvrn/cache.h>
#include <kvrn/export.h>
#include <stddef.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

/** Number of records that are exchanged as one unit. It does not depend on the PSU count of the board. */
#define KVRN_PSU_MAX 4

/** `psu_info.type` */
enum kvrn_psu_type { KVRN_PSU_TYPE_EMPTY = 0, KVRN_PSU_TYPE_INPUT = 1, KVRN_PSU_TYPE_BATTERY = 2 };

/** `psu_info.status` */
enum kvrn_psu_status_bits {
  KVRN_PSU_STATUS_FILLED = 0x80,      /**< a readout filled the record */
  KVRN_PSU_STATUS_USABLE = 0x40,      /**< counts in the power budget */
  KVRN_PSU_STATUS_MAINS = 0x20,       /**< batteries: at least one input has mains */
  KVRN_PSU_STATUS_CHARGER = 0x10,     /**< batteries: charger enabled */
  KVRN_PSU_STATUS_HIGH_CURRENT = 0x08 /**< batteries: the highest charging current is selected */
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

/** Markers for "unknown" in a record. */
#define KVRN_PSU_UNKNOWN_I32 INT32_MIN
#define KVRN_PSU_UNKNOWN_TEMP (-127)
#define KVRN_PSU_UNKNOWN_PCT (-2147483648.0f)
#define KVRN_PSU_UNKNOWN_TIME (-INT64_C(2147483648))

/**
 * One power source, 136 bytes, big-endian. The record is copied byte for byte into the cache file. Fields that do not
 * apply to the source are zero. Fields that could not be read have the markers above; only a failed hwmon reading is 0.
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
  kvrn_be_i32 charge_state; /**< state code of the smart battery: 4, 2 or 7 */
  kvrn_be_i32 full_capacity_mah;
  kvrn_be_i32 design_capacity_mah;
  kvrn_be_u32 smart_battery; /**< 1 for a smart battery */
  kvrn_be_i32 cycle_count;
  kvrn_be_i32 cell_mv[8];
  kvrn_be_u32 cell_count; /**< number of used entries of `cell_mv` */
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
  kvrn_be_i64 stamp; /**< -1: no refresh since the writer mapped the file */
} kvrn_psu_info_image;

KVRN_STATIC_ASSERT(sizeof(kvrn_psu_info_image) == 552, "the PSU cache is 552 bytes");
KVRN_STATIC_ASSERT(offsetof(kvrn_psu_info_image, stamp) == 544, "kvrn_psu_info_image.stamp");

/** Number of power sources of this board: 4, 3 or 2. The first call identifies the board. */
KVRN_API int get_psu_count(void);

/** Whether the board has that power source: 0 <= psu < get_psu_count(). @return 1 or 0 */
KVRN_API int psu_id_valid(int psu);

/** KVRN_PSU_TYPE_INPUT for 0 and 1, KVRN_PSU_TYPE_BATTERY from 2 on, for every board. */
KVRN_API int psu_get_type(int psu);

/**
 * The hwmon names of the DC output monitors.
 * @param count receives their number; may be null
 * @return a null-terminated list in static storage
 */
KVRN_API const char* const* get_dc_out_addrs(int* count);

/**
 * Returns all power sources. They come from `source` if it is given, else from "/tmp/.psu_info_cache" if this file is
 * at most 10 seconds old. When neither delivers them, they are read from the hardware (GPIO, I2C, hwmon, flag files).
 * This takes tens of milliseconds, and more when a smart battery does not answer.
 * @param out    four records. A source or the cache fills all 544 bytes for any PSU count. A readout fills only the
 *               records of the board's PSUs; the other records stay unchanged.
 * @param source may be null; only its `get` is called
 * @return the number of PSUs; 0 when `out` is null
 */
KVRN_API int psu_info_get_all(psu_info* out, cache_source* source);

/**
 * Reads one power source from the hardware. A failed reading has its default value, and the readout as a whole
 * succeeds. Logs "Unable to read charging status" when "/tmp/.charging_status" holds no number.
 * @return 0; -1 (record unchanged) for a null record or a number that psu_id_valid() refuses
 */
KVRN_API int psu_info_get_direct(psu_info* out, int psu);

/**
 * Reads a GPIO line.
 * @param line  packed number; only the low 8 bits are used
 * @param value set only on success; may be null
 * @return 0, or -1 when the line could not be read
 */
KVRN_API int read_gpio(int line, int* value);

/**
 * Whether an input has mains. If "/tmp/.ac_on_status" (input 1: "/tmp/.ac_on_status2") holds a number, mains is on when
 * the number is positive. Otherwise GPIO 211 (input 1: 212), active low, decides.
 * @param input 0 or 1; any non-zero number is input 1
 * @return 1 or 0
 */
KVRN_API int is_ac_connected(int input);

/** Number of inputs with mains, as is_ac_connected() finds them: 0, 1 or 2. */
KVRN_API int psu_info_ac_connected(void);

/**
 * Current in mA of the battery with a hwmon monitor, on the three-source board (psu >= 2); 0 elsewhere or on failure.
 */
KVRN_API int get_battery_current(int psu);

/**
 * Reads the temperature of an input supply over I2C, even when the supply has no mains.
 * @param input 0, or non-zero for input 1
 * @param temp  degrees Celsius; unchanged when the result is 0
 * @return 1 when the supply answered, else 0
 */
KVRN_API int get_psu_temp_info(int input, int* temp);

/** The higher one of the two supply temperatures. @return 1; 0 (`temp` unchanged) when neither supply answered */
KVRN_API int read_lcm_temperature(int* temp);

/** Level of the charger's status line (GPIO 110). @return 1 or 0; 1 when it cannot be read */
KVRN_API int get_chg_stat(void);

/* ---- Power budget, in mW ---- */

/** The upper limit of the results of psu_get_max_power_single_mW() and get_max_power_single_ex(). */
#define KVRN_MAX_SINGLE_POWER_MW 250000

/**
 * The power that the board may draw. With exactly one usable input this is the reduced figure, unless a battery counts
 * and can support the input (GPIO 112 reads 0). In every other case, even without any input, it is the full figure. A
 * board without figures has 0.
 * @param inputs        number of usable input supplies
 * @param batteries     number of usable batteries
 * @param count_battery non-zero: a battery may support a single input
 */
KVRN_API int psu_get_max_power_mW(int inputs, int batteries, int count_battery);

/** psu_get_max_power_mW() with `count_battery` set, but at most KVRN_MAX_SINGLE_POWER_MW. */
KVRN_API int psu_get_max_power_single_mW(int inputs, int batteries);

/**
 * psu_get_max_power_mW() for the usable sources among the first get_psu_count() records.
 * @param psus four records, as psu_info_get_all() fills them; null means that no source is usable
 */
KVRN_API int get_max_power_ex(const psu_info* psus, int count_battery);

/** get_max_power_ex() with `count_battery` set. */
KVRN_API int get_max_power(const psu_info* psus);

/** get_max_power_ex(), but at most KVRN_MAX_SINGLE_POWER_MW. */
KVRN_API int get_max_power_single_ex(const psu_info* psus, int count_battery);

/**
 * The power that the board may draw now.
 * @param fixed  0: get_max_power() for the records of psu_info_get_all(). Any other value: the fixed figure of the
 *               board, for any state of its supplies: 250000 on the three-source board, 0 elsewhere.
 * @param source passed to psu_info_get_all(); may be null
 */
KVRN_API int get_max_usable_power_ex(int fixed, cache_source* source);

/** get_max_usable_power_ex() without a source. */
KVRN_API int get_max_usable_power(int fixed);

/**
 * The power that the DC outputs deliver. It comes from `source` if it is given, else from "/tmp/.output_cache", which
 * may have any age. When this fails, the monitors are read. Sums wrap at 32 bits in uW, before the division by 1000.
 * @param output 0: all outputs; k: output k (from 1)
 * @param source may be null; only its `get` is called
 * @return mW; 0 for an output that does not exist, and for a negative number
 */
KVRN_API int get_output_power_ex(int output, cache_source* source);

/** get_output_power_ex() without a source. */
KVRN_API int get_output_power(int output);

/* ---- Charging. The PSU number of a battery is 2 or 3. ---- */

/** Number of values that psu_get_charging_options() writes, unused ones included. */
#define KVRN_CHARGING_OPTIONS 5

/** Charging power of this board in mW. The PSU number is not used. */
KVRN_API int get_max_charging_power(int psu);

/**
 * Lists the charging currents of a PSU in mA, the highest first, with zeros after the last one. PSU 2 has its own list;
 * every other number gets the list of PSU 3.
 * @param currents KVRN_CHARGING_OPTIONS numbers; null is ignored
 */
KVRN_API void psu_get_charging_options(int psu, uint32_t* currents);

/**
 * Selects a charging current by its index in psu_get_charging_options(), with the GPIO lines of the charger.
 * @return the result of the last gpio_write(). For an index without a current nothing is written, and the result is 0.
 */
KVRN_API int psu_set_charging_current(int psu, int index);

/**
 * Enables or disables the charger of a battery with its GPIO line: 115 for PSU 3, 109 for any other battery. The
 * charger is off while the line is active.
 * @return the result of gpio_write(). For PSU numbers below 2 nothing is written, and the result is 0.
 */
KVRN_API int psu_set_charge(int psu, int on);

/** Always 1: no board can switch a PSU off. */
KVRN_API int psu_is_enabled(void);

/** Has no effect. @return always 0 */
KVRN_API int psu_set_enabled(void);

KVRN_END_DECLS

#endif
