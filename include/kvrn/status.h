/* SPDX-License-Identifier: MIT */
/**
 * @file status.h  DC outputs and PoE, alarm and status flags, the device state, the runtime interface.
 *
 * Processes share alarms as flag files: one file a flag under /tmp, one decimal integer in it. A getter opens, reads
 * and closes its file at each call and never fails: a missing or unreadable file gives the flag's default. A setter
 * truncates and rewrites the file; a reader that meets it empty gets the default. It writes regular files only, and
 * through no link, for everybody may put one into /tmp. No flag file is ever deleted here.
 * Ports are DC outputs, from 0.
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
 * Whether a DC output is switched on. Output 0 counts as on when one of the board's PoE lines is. A line that cannot be
 * read counts as on, and so does an output that no board has. The first call identifies the board, and the first for
 * output 0 collects the PoE lines; one thread at a time.
 * @param output 0 to 2
 * @return 1 or 0
 */
KVRN_API int is_dc_out_enabled(int output);

/**
 * The lines of an output, numbered as in get_output_power(): 0 is all outputs together.
 * @param lines three packed line numbers, 0 where there is none
 * @param level what a line reads while the output is off: 0
 */
KVRN_API void get_dc_gpio(int output, uint8_t* lines, uint32_t* level);

/**
 * Whether an output is on, by the lines of get_dc_gpio() for output + 1. A line that cannot be read counts as on.
 * @param output from 0; with bit 7 set, PoE of configured interface (output & 127) + 1
 * @return 1 on, 0 off (also an output without lines); for PoE what gpio_read() says (255 on failure), -1 without a line
 */
KVRN_API int dc_get_output(int8_t output);

/**
 * The line that powers PoE on a configured interface, by "netconf.%d.devname" of "/tmp/system.cfg", which is parsed at
 * each call: "eth0" and "eth1" can have one.
 * @return packed line number, 0 for none
 */
KVRN_API int get_poe_gpio(int interface_index);

/** "netconf.%d.poe" of "/tmp/system.cfg", a switch as in get_bool(). @return 1 or 0 (also without the key) */
KVRN_API uint8_t get_poe_status(int interface_index);

/* ---- Flags ---- */

/** 2: the protection of some DC output tripped; otherwise the number in "/tmp/.overload_check" (0): 1 is an overload.
 */
KVRN_API int get_overload_status(void);

/** 2: the protection of this output tripped; otherwise the number in "/tmp/.overload_check_PORT" (0). */
KVRN_API int get_overload_status_port(int port);

/** The number in "/tmp/.overload_req0", or "/tmp/.overload_req1" when `which` is not 0 (1): an overload check is
 * wanted. */
KVRN_API int get_overload_flag(int which);

/** Writes the file of get_overload_flag(). A failure is not told. */
KVRN_API void set_overload_flag(int which, int value);

/** The number in "/tmp/.overload_charging" (0): not enough power to charge. */
KVRN_API int insufficient_power_get(void);

/** Writes the file of insufficient_power_get(). @return 1; 0 when it cannot be opened. A full /tmp is not told */
KVRN_API int insufficient_power_set(int value);

/** 1 when the number in "/tmp/.dc-problemPORT" (0) is positive, else 0: the output's hardware protection tripped. */
KVRN_API int get_dc_hwprotect_error(int port);

/** Writes the file of get_dc_hwprotect_error(). @return as insufficient_power_set() */
KVRN_API int set_dc_hwprotect_error(int port, int value);

/** The number in "/tmp/.ac_outage_check" (0): an outage of the mains. */
KVRN_API int get_ac_outage_status(void);

/** The number in "/tmp/.ac_outage_overload_check" (0): an overload after an outage of the mains. */
KVRN_API int ac_disabled_overload(void);

/** The number in "/tmp/.battery_outage_check" (0): an outage of a battery. */
KVRN_API int get_battery_outage_status(void);

/** The number in "/tmp/.dc-enabledPORT": below 2 configured off, 2 (a missing file) not configured. No number is 0. */
KVRN_API int is_dc_out_cfg_enabled(int port);

/** Writes the file of is_dc_out_cfg_enabled(). @return as insufficient_power_set() */
KVRN_API int set_flag(int port, int value);

/**
 * Builds the name of a low-voltage flag: "/tmp/.lv<infix>_active" for index -1, otherwise
 * "/tmp/.lv<infix>_<index>_active". The library uses the empty infix: 27 characters at most, and the end.
 * @param buffer large enough, which is the caller's affair
 * @param infix  null counts as empty
 * @return the buffer
 */
KVRN_API char* get_status_file(char* buffer, int index, const char* infix);

/**
 * The number in a PSU's low-voltage flag (0). Where that is 0, a battery (2 and up) whose charge by get_battery_data()
 * is below 11 %, or unknown, answers 2; without charge data that takes 600 ms.
 */
KVRN_API int get_lvmonitor_status_psu(int psu);

/** The number in "/tmp/.lv_active" (0): the low-voltage monitor is active for the whole device. */
KVRN_API int get_lvmonitor_status(void);

/** 1 when any flag of read_battery_flags() but 0x04 and 0x10 is set, else 0. */
KVRN_API int is_battery_status_error_flag(uint32_t flags);

/* ---- Device state ---- */

/**
 * What get_device_state() returns, the strongest first. An outage counts while its flag is set: of the mains while some
 * but not all inputs have mains, of a battery while there is a battery.
 */
enum kvrn_device_state {
  KVRN_DEVICE_BATTERY_ERROR = 13, /**< a battery that is not being calibrated reports an error */
  KVRN_DEVICE_OVERLOAD = 8,       /**< get_overload_status() is 1 */
  KVRN_DEVICE_PROTECTED = 9,      /**< get_overload_status() is anything else but 0 */
  KVRN_DEVICE_OFF = 5,            /**< outputs off by configuration, by their lines, by low voltage, or no source */
  KVRN_DEVICE_CHARGING_FAST = 11, /**< no outage counts: mains charges a battery with the highest current */
  KVRN_DEVICE_CHARGING = 10,      /**< no outage counts: mains charges a battery */
  KVRN_DEVICE_LOW_VOLTAGE = 4,    /**< a battery's low-voltage flag, or low charge */
  KVRN_DEVICE_MAINS_PARTIAL_FIRST = 7, /**< an outage of the mains counts, the first input has mains */
  KVRN_DEVICE_MAINS_PARTIAL = 6,       /**< an outage of the mains counts, the first input has none */
  KVRN_DEVICE_NO_BATTERY = 14,         /**< mains, and no battery or an outage of the battery that counts */
  KVRN_DEVICE_ON_BATTERY = 1,          /**< a battery alone */
  KVRN_DEVICE_CALIBRATING = 12,        /**< mains, and a battery is being calibrated (level 2 and up) */
  KVRN_DEVICE_NORMAL = 0               /**< mains and a battery */
};

/**
 * The one code that sums up the device, from its PSU records, flag files, battery files and output lines.
 * @param psus get_psu_count() records; null counts as no record
 * @return enum kvrn_device_state; 2 and 3 never come out
 */
KVRN_API int get_device_state(const psu_info* psus);

/* ---- Runtime interface ---- */

/**
 * The interface that carries the traffic of a configured one: an enabled bridge answers with its lowest-numbered port
 * ("bridge.<b>.port.<p>.devname"), any other name with itself. The bridge is found by its escaped device name, and the
 * port's name is escaped too. No file is read. As thread-safe as the configuration.
 * @param cfg         a parsed configuration, which stays the caller's
 * @param name        device name to look up; null gives an empty result
 * @param destination at least 16 bytes; all 16 are written, zeros behind the name. A name of 16 characters or more is
 *                    cut and not terminated. Null is ignored.
 * @param unused      has no effect
 */
KVRN_API void getRuntimeInterface(const cfg_entry* cfg, const char* name, char* destination, int unused);

KVRN_END_DECLS

#endif
