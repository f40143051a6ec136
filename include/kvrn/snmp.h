/* SPDX-License-Identifier: MIT */
/**
 * @file snmp.h  The sensor summary, and the plug-in that publishes it through an SNMP agent host.
 *
 * A host loads the library, finds `module`, and calls its `update` at each refresh. The update adds the whole object
 * table, value by value, with four functions that the host defines. These functions are weak imports: in a program
 * without them nothing is published, and everything else works. Only one thread at a time may use the plug-in.
 */
#ifndef KVRN_SNMP_H
#define KVRN_SNMP_H

#include <kvrn/cache.h>
#include <kvrn/export.h>
#include <kvrn/psu.h>
#include <stddef.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

/* ---- Sensor summary ---- */

#define KVRN_BOARD_TEMPS 3

/** The value in `sensors_info.board_temp` when there is no sensor. */
#define KVRN_NO_BOARD_SENSOR (-127)

/**
 * The values that a monitoring client shows, in one block. The records are big-endian. The other integers of the
 * summary are in host byte order.
 */
typedef struct sensors_info {
  psu_info psu[KVRN_PSU_MAX];           /**< as psu_info_get_all() fills them */
  int32_t board_temp[KVRN_BOARD_TEMPS]; /**< degrees Celsius; KVRN_NO_BOARD_SENSOR; 0: not requested */
  output_status output[KVRN_OUTPUT_MAX];
  int32_t output_count;    /**< count in the cache: may exceed KVRN_OUTPUT_MAX, the size of `output` */
  int32_t power_meter;     /**< number in "/tmp/.power_meter" */
  int32_t locate_led;      /**< 1: "/tmp/.led-status-loc" exists */
  int32_t psu_data_stable; /**< 1: "/tmp/.psu_data_stable" exists */
  int32_t reserved;
} sensors_info;

KVRN_STATIC_ASSERT(sizeof(sensors_info) == 648, "the sensor summary is 648 bytes");
KVRN_STATIC_ASSERT(offsetof(sensors_info, board_temp) == 544, "sensors_info.board_temp");
KVRN_STATIC_ASSERT(offsetof(sensors_info, output) == 556, "sensors_info.output");
KVRN_STATIC_ASSERT(offsetof(sensors_info, output_count) == 628, "sensors_info.output_count");
KVRN_STATIC_ASSERT(offsetof(sensors_info, power_meter) == 632, "sensors_info.power_meter");
KVRN_STATIC_ASSERT(offsetof(sensors_info, locate_led) == 636, "sensors_info.locate_led");
KVRN_STATIC_ASSERT(offsetof(sensors_info, psu_data_stable) == 640, "sensors_info.psu_data_stable");

/**
 * Collects a sensor summary. A value that cannot be read has its default. Without an output cache there are no outputs.
 * The PSU records come from their cache or from the hardware. `max_power` of each output is the power in uW that one
 * output may draw: get_max_power_single_ex() with `count_battery` 0, x 1000.
 * @param with_board_temps non-zero: fill `board_temp` (getBoardTemps())
 * @param outputs          used in place of "/tmp/.output_cache"; may be null
 * @param psus             passed to psu_info_get_all(); may be null
 * @return the summary, free it with sensors_info_free(); null when out of memory
 */
KVRN_API sensors_info* sensors_info_get_ex(int with_board_temps, cache_source* outputs, cache_source* psus);

/** sensors_info_get_ex() without sources. */
KVRN_API sensors_info* sensors_info_get(int with_board_temps);

/** Frees a summary. Null is ignored. */
KVRN_API void sensors_info_free(sensors_info* info);

/**
 * Reads the temperature sensors of the board itself. No board has such a sensor, so the count is 0.
 * @param temps receives an array of degrees Celsius, which the caller frees with free(); null when the count is 0
 * @param count receives the number of temperatures
 * @return 0; -1 (outputs unchanged) when out of memory or for a null argument
 */
KVRN_API int getBoardTemps(int32_t** temps, int* count);

/* ---- The interface of the host ---- */

/**
 * A word of an object identifier. An identifier is an array: its first word is the number of words that follow. The
 * second word encodes the first two arcs as in BER (40 x first + second: 43 is 1.3). Each further word is one arc.
 */
typedef uint32_t kvrn_snmp_oid_word;

/** Number of words in the longest identifier that the module builds, without the count. */
#define KVRN_SNMP_OID_WORDS 13

/** The BER tags for `kvrn_snmp_value.type`. The module uses all of them except Counter32. */
enum kvrn_snmp_type {
  KVRN_SNMP_TYPE_INTEGER = 0x02,
  KVRN_SNMP_TYPE_OCTET_STRING = 0x04,
  KVRN_SNMP_TYPE_OBJECT_ID = 0x06,
  KVRN_SNMP_TYPE_COUNTER32 = 0x41,
  KVRN_SNMP_TYPE_GAUGE32 = 0x42,
  KVRN_SNMP_TYPE_TIMETICKS = 0x43 /**< hundredths of a second */
};

/** A text. Its bytes do not end with a NUL. */
typedef struct kvrn_snmp_octets {
  uint32_t length;
  const char* bytes;
} kvrn_snmp_octets;

/**
 * A value. Lengths and numbers have 32 bits; a pointer has the width of the host's pointers. On the 32-bit device the
 * record has 16 bytes: the length of a text is at offset 8, the address of its bytes at offset 12. On a 64-bit host the
 * record has 24 bytes, and the address is at offset 16. The record and the data that it points to are valid until
 * odb_add() returns.
 */
typedef struct kvrn_snmp_value {
  uint8_t type;      /**< enum kvrn_snmp_type */
  uint8_t unused[7]; /**< not written */
  union {
    uint32_t number;               /**< INTEGER (two's complement), Counter32, Gauge32, TimeTicks */
    const kvrn_snmp_oid_word* oid; /**< OBJECT IDENTIFIER */
    kvrn_snmp_octets text;         /**< OCTET STRING */
  } as;
} kvrn_snmp_value;

KVRN_STATIC_ASSERT(offsetof(kvrn_snmp_value, as) == 8, "kvrn_snmp_value.as");
KVRN_STATIC_ASSERT(offsetof(kvrn_snmp_value, as.text.bytes) == 8 + sizeof(void*), "kvrn_snmp_value.as.text.bytes");
KVRN_STATIC_ASSERT(sizeof(kvrn_snmp_value) == 8 + 2 * sizeof(void*), "a value record is 16 bytes on the 32-bit device");

/**
 * Defined by the host: adds an object to its database.
 * @return 0 on success. Any other result ends the update, and the update returns this result.
 */
KVRN_API int odb_add(void* host, const kvrn_snmp_oid_word* oid, const kvrn_snmp_value* value);

/** Defined by the host: empties its database. */
KVRN_API void odb_destroy(void* host);

/** Defined by the host: stores an error text, with arguments as for printf. */
KVRN_API void abz_set_error(const char* format, ...) __attribute__((format(printf, 1, 2)));

/** Defined by the host: clears the error text. */
KVRN_API void abz_clear_error(void* host);

/** The descriptor of the plug-in: 14 words as wide as a pointer, 56 bytes on the device. */
typedef struct kvrn_snmp_module {
  const char* name;               /**< "kvrn" */
  const char* description;        /**< ends with a blank, which hosts show */
  const kvrn_snmp_oid_word* oid;  /**< 1.3.6.1.4.1.47474 */
  const kvrn_snmp_oid_word* root; /**< the same array as `oid` */
  uintptr_t zero_4[2];
  /**
   * Clears the host's error and database, then adds every object again (update_kvrn_table() with row 1).
   * @return 0; -1 in a program without the host's functions; otherwise as update_kvrn_table()
   */
  int (*update)(void* host);
  uintptr_t zero_7[7];
} kvrn_snmp_module;

KVRN_STATIC_ASSERT(sizeof(kvrn_snmp_module) == 14 * sizeof(void*), "14 words");
KVRN_STATIC_ASSERT(offsetof(kvrn_snmp_module, update) == 6 * sizeof(void*), "the update is word 6");

/** The symbol that a host looks up by name. The library never changes it. The host may use the zero words. */
KVRN_API extern kvrn_snmp_module module;

/**
 * Adds the row of the module, the identity of the system ("/etc/board.info", "/etc/version"), outputs, power sources
 * and temperatures, in the order of docs/snmp.md. Reads both caches (or the hardware), the battery files and
 * "/tmp/system.cfg". Each valid battery without its file takes 600 ms.
 * @param host passed to odb_add()
 * @param row  number of the module's row
 * @return 0 on success. When odb_add() returns another value, the update stops and returns that value; the objects
 *         already added stay. -1 when out of memory, and in a program without odb_add().
 */
KVRN_API int update_kvrn_table(void* host, int row);

KVRN_END_DECLS

#endif
