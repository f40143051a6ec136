/* SPDX-License-Identifier: MIT */
/**
 * @file status.h  DC outputs and PoE, alarm and status flags, the device state, the runtime interface.
 *
 * Processes share alarms as flag files in /tmp: each flag is one file with one decimal integer. A getter opens, reads
 * and closes its file at each call and never fails: a missing or unreadable file gives the default of the flag. A
 * setter truncates the file and writes it again. A reader that finds the file empty in between gets the default. A
 * setter writes only regular files and follows no symbolic link, because every user can create a link in /tmp. The
 * library never deletes a flag file. A port is the number of a DC output, from 0.
 */
#ifndef KVRN_STATUS_H
#define KVRN_STATUS_H

#include <kvrn/cfg.h>
#include <kvrn/export.h>
#include <kvrn/psu.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

/* ---- DC outputs and PoE ---- */

/**
 * Whether a DC output is switched on. Output 0 is also on when at least one PoE line of the board is on. A line that
 * cannot be read counts as on. An output that no board has counts as on. The first call identifies the board, and the
 * first call for output 0 collects the PoE lines. Only one thread at a time may call this function.
 * @param output 0 to 2
 * @return 1 or 0
 */
KVRN_API int is_dc_out_enabled(int output);

/**
 * The lines that switch an output. Outputs are numbered as in get_output_power(): 0 is all outputs together.
 * @param lines receives three packed line numbers, with 0 where there is no line
 * @param level receives the level of a line while the output is off: 0
 */
KVRN_API void get_dc_gpio(int output, uint8_t* lines, uint32_t* level);

/**
 * Whether an output is on, according to the lines of get_dc_gpio() for output + 1. A line that cannot be read counts as
 * on.
 * @param output from 0; with bit 7 set, PoE on the configured interface (output & 127) + 1
 * @return 1 on, 0 off (also for an output without lines). For PoE: the result of gpio_read() (255 on failure), -1
 *         without a line
 */
KVRN_API int dc_get_output(int8_t output);

/**
 * The line that powers PoE on a configured interface. The interface is found by "netconf.%d.devname" in
 * "/tmp/system.cfg", which is parsed at each call. Only "eth0" and "eth1" can have a line.
 * @return packed line number, 0 when there is none
 */
KVRN_API int get_poe_gpio(int interface_index);

/** The switch "netconf.%d.poe" in "/tmp/system.cfg", read as by get_bool(). @return 1 or 0 (also without the key) */
KVRN_API uint8_t get_poe_status(int interface_index);

/* ---- Flags ---- */

/**
 * The overload state of the device: 2 when the protection of at least one DC output tripped. Otherwise the number in
 * "/tmp/.overload_check" (default 0), where 1 is an overload.
 */
KVRN_API int get_overload_status(void);

/**
 * The overload state of an output: 2 when its protection tripped. Otherwise the number in "/tmp/.overload_check_PORT"
 * (default 0).
 */
KVRN_API int get_overload_status_port(int port);

/**
 * The number in "/tmp/.overload_req0", or in "/tmp/.overload_req1" when `which` is not 0 (default 1). It requests an
 * overload check.
 */
KVRN_API int get_overload_flag(int which);

/** Writes the file of get_overload_flag(). A failure is not reported. */
KVRN_API void set_overload_flag(int which, int value);

/** The number in "/tmp/.overload_charging" (default 0): there is not enough power to charge. */
KVRN_API int insufficient_power_get(void);

/** Writes the file of insufficient_power_get(). @return 1; 0 when it cannot be opened. A full /tmp is not reported. */
KVRN_API int insufficient_power_set(int value);

/**
 * Whether the hardware protection of an output tripped: 1 when the number in "/tmp/.dc-problemPORT" (default 0) is
 * positive, else 0.
 */
KVRN_API int get_dc_hwprotect_error(int port);

/** Writes the file of get_dc_hwprotect_error(). @return as insufficient_power_set() */
KVRN_API int set_dc_hwprotect_error(int port, int value);

/** The number in "/tmp/.ac_outage_check" (default 0): an outage of the mains. */
KVRN_API int get_ac_outage_status(void);

/** The number in "/tmp/.ac_outage_overload_check" (default 0): an overload after an outage of the mains. */
KVRN_API int ac_disabled_overload(void);

/** The number in "/tmp/.battery_outage_check" (default 0): an outage of a battery. */
KVRN_API int get_battery_outage_status(void);

/**
 * The number in "/tmp/.dc-enabledPORT": below 2 means configured off, 2 means not configured. A missing file gives 2, a
 * file without a number gives 0.
 */
KVRN_API int is_dc_out_cfg_enabled(int port);

/** Writes the file of is_dc_out_cfg_enabled(). @return as insufficient_power_set() */
KVRN_API int set_flag(int port, int value);

/**
 * Builds the name of a low-voltage flag: "/tmp/.lv<infix>_active" for index -1, otherwise
 * "/tmp/.lv<infix>_<index>_active". The library uses the empty infix. The name then has at most 27 characters and the
 * terminating NUL.
 * @param buffer must be large enough: the function cannot check its size
 * @param infix  null counts as empty
 * @return the buffer
 */
KVRN_API char* get_status_file(char* buffer, int index, const char* infix);

/**
 * The number in the low-voltage flag of a PSU (default 0). When this number is 0 for a battery (2 and up), the result
 * is 2 if the charge from get_battery_data() is below 11 % or unknown. Without charge data this takes 600 ms.
 */
KVRN_API int get_lvmonitor_status_psu(int psu);

/** The number in "/tmp/.lv_active" (default 0): the low-voltage monitor is active for the whole device. */
KVRN_API int get_lvmonitor_status(void);

/** 1 when any flag of read_battery_flags() other than 0x04 and 0x10 is set, else 0. */
KVRN_API int is_battery_status_error_flag(uint32_t flags);

/* ---- Device state ---- */

/**
 * The results of get_device_state(), highest priority first. A mains outage counts when its flag is set and some, but
 * not all, inputs have mains. A battery outage counts when its flag is set and there is a battery.
 */
enum kvrn_device_state {
  KVRN_DEVICE_BATTERY_ERROR = 13,      /**< a battery reports an error and is not being calibrated */
  KVRN_DEVICE_OVERLOAD = 8,            /**< get_overload_status() is 1 */
  KVRN_DEVICE_PROTECTED = 9,           /**< get_overload_status() is neither 0 nor 1 */
  KVRN_DEVICE_OFF = 5,                 /**< outputs off by configuration, lines or low voltage; or no source */
  KVRN_DEVICE_CHARGING_FAST = 11,      /**< no outage counts, mains charges a battery with the highest current */
  KVRN_DEVICE_CHARGING = 10,           /**< no outage counts, mains charges a battery */
  KVRN_DEVICE_LOW_VOLTAGE = 4,         /**< the low-voltage flag of a battery, or a low charge */
  KVRN_DEVICE_MAINS_PARTIAL_FIRST = 7, /**< a mains outage counts, the first input has mains */
  KVRN_DEVICE_MAINS_PARTIAL = 6,       /**< a mains outage counts, the first input has no mains */
  KVRN_DEVICE_NO_BATTERY = 14,         /**< mains, and either no battery or a battery outage that counts */
  KVRN_DEVICE_ON_BATTERY = 1,          /**< a battery, no mains */
  KVRN_DEVICE_CALIBRATING = 12,        /**< mains, and a battery is being calibrated (level 2 and up) */
  KVRN_DEVICE_NORMAL = 0               /**< mains and a battery */
};

/**
 * The code that describes the whole device. It depends on the PSU records, flag files, battery files and output lines.
 * @param psus get_psu_count() records; null counts as no record
 * @return enum kvrn_device_state; the values 2 and 3 never occur
 */
KVRN_API int get_device_state(const psu_info* psus);

/* ---- Runtime interface ---- */

/**
 * Finds the interface that carries the traffic of a configured interface. For an enabled bridge this is its port with
 * the lowest number ("bridge.<b>.port.<p>.devname"). For any other name it is the name itself. `name` is compared with
 * the escaped device name of the bridge, and the name of the port is also escaped. The function reads no file. It is as
 * thread-safe as the configuration.
 * @param cfg         a parsed configuration; the caller keeps it
 * @param name        device name to look up; null gives an empty result
 * @param destination at least 16 bytes; all 16 are written, with zeros after the name. A name of 16 characters or more
 *                    is truncated and not terminated. Null is ignored.
 * @param unused      has no effect
 */
KVRN_API void getRuntimeInterface(const cfg_entry* cfg, const char* name, char* destination, int unused);

KVRN_END_DECLS

#endif
