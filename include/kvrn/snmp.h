/* SPDX-License-Identifier: MIT */
/**
 * @file snmp.h  The sensor summary, and the plug-in that publishes it through an SNMP agent host.
 *
 * A host loads the library, finds `module`, and calls its `update` at each refresh. The update pushes the whole object
 * table, value by value, through four functions that the host defines. They are weak imports: in a program without
 * them nothing is published, and everything else works. One thread at a time.
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

/** `sensors_info.board_temp` without a sensor. */
#define KVRN_NO_BOARD_SENSOR (-127)

/** What a monitoring client shows, in one block. The records are big-endian, the words of the summary itself native. */
typedef struct sensors_info {
  psu_info psu[KVRN_PSU_MAX];           /**< as psu_info_get_all() fills them */
  int32_t board_temp[KVRN_BOARD_TEMPS]; /**< degrees Celsius; KVRN_NO_BOARD_SENSOR; 0: not asked for */
  output_status output[KVRN_OUTPUT_MAX];
  int32_t output_count;    /**< what the cache reported: may exceed KVRN_OUTPUT_MAX; no entry follows the third */
  int32_t power_meter;     /**< the number in "/tmp/.power_meter" */
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
 * Takes a summary. Whatever cannot be read has its default: without an output cache there are no outputs; PSU records
 * come from their cache or from the hardware. Every output's `max_power` is the power that one output may draw, in uW:
 * get_max_power_single_ex() without the battery, x 1000.
 * @param with_board_temps non-zero: fill `board_temp` (getBoardTemps())
 * @param outputs          in place of "/tmp/.output_cache"; may be null
 * @param psus             passed to psu_info_get_all(); may be null
 * @return free it with sensors_info_free(); null without memory
 */
KVRN_API sensors_info* sensors_info_get_ex(int with_board_temps, cache_source* outputs, cache_source* psus);

/** sensors_info_get_ex() without sources. */
KVRN_API sensors_info* sensors_info_get(int with_board_temps);

/** Null is ignored. */
KVRN_API void sensors_info_free(sensors_info* info);

/**
 * The board's own temperature sensors. No board has one, so the count is 0.
 * @param temps set to an array of degrees Celsius, which the caller frees with free(); null when the count is 0
 * @param count set to the number of temperatures
 * @return 0; -1 (outputs untouched) without memory or for a null argument
 */
KVRN_API int getBoardTemps(int32_t** temps, int* count);

/* ---- The interface of the host ---- */

/**
 * An object identifier: the number of words that follow, then the words. The first one stands for the two leading arcs
 * (40 x first + second, as in BER: 43 is 1.3).
 */
typedef uint32_t kvrn_snmp_oid_word;

/** Words of the longest identifier that the module builds, behind the count. */
#define KVRN_SNMP_OID_WORDS 13

/** `kvrn_snmp_value.type`: the BER tags. The module uses all but Counter32. */
enum kvrn_snmp_type {
  KVRN_SNMP_TYPE_INTEGER = 0x02,
  KVRN_SNMP_TYPE_OCTET_STRING = 0x04,
  KVRN_SNMP_TYPE_OBJECT_ID = 0x06,
  KVRN_SNMP_TYPE_COUNTER32 = 0x41,
  KVRN_SNMP_TYPE_GAUGE32 = 0x42,
  KVRN_SNMP_TYPE_TIMETICKS = 0x43 /**< hundredths of a second */
};

/** A text: its bytes are not terminated. */
typedef struct kvrn_snmp_octets {
  uint32_t length;
  const char* bytes;
} kvrn_snmp_octets;

/**
 * A value. Lengths and numbers are 32-bit, pointers as wide as the host's: on the 32-bit device the record has 16
 * bytes, with a text's length at 8 and its bytes' address at 12; on a 64-bit host it has 24, and that address is at 16.
 * The record and what it points to live until odb_add() returns.
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

/** Defined by the host: adds an object to its database. @return 0; anything else ends the update, which returns it */
KVRN_API int odb_add(void* host, const kvrn_snmp_oid_word* oid, const kvrn_snmp_value* value);

/** Defined by the host: empties its database. */
KVRN_API void odb_destroy(void* host);

/** Defined by the host: records an error text, as printf. */
KVRN_API void abz_set_error(const char* format, ...) __attribute__((format(printf, 1, 2)));

/** Defined by the host: forgets the error text. */
KVRN_API void abz_clear_error(void* host);

/** The plug-in's descriptor: 14 words as wide as a pointer, 56 bytes on the device. */
typedef struct kvrn_snmp_module {
  const char* name;               /**< "kvrn" */
  const char* description;        /**< with a blank at its end, which hosts show */
  const kvrn_snmp_oid_word* oid;  /**< 1.3.6.1.4.1.47474 */
  const kvrn_snmp_oid_word* root; /**< the same array */
  uintptr_t zero_4[2];
  /**
   * Clears the host's error and database and adds every object anew (update_kvrn_table() as row 1).
   * @return 0; -1 in a program without the host's functions; otherwise as update_kvrn_table()
   */
  int (*update)(void* host);
  uintptr_t zero_7[7];
} kvrn_snmp_module;

KVRN_STATIC_ASSERT(sizeof(kvrn_snmp_module) == 14 * sizeof(void*), "14 words");
KVRN_STATIC_ASSERT(offsetof(kvrn_snmp_module, update) == 6 * sizeof(void*), "the update is word 6");

/** What a host looks up by name. The library never changes it; its zero words are the host's to use. */
KVRN_API extern kvrn_snmp_module module;

/**
 * Adds the module's row, the system's identity ("/etc/board.info", "/etc/version"), outputs, power sources and
 * temperatures, in the order of docs/snmp.md. Reads both caches (else the hardware), the battery files (600 ms for each
 * valid battery whose file is missing) and "/tmp/system.cfg".
 * @param host handed on to odb_add()
 * @param row  number of the module's row
 * @return 0; the first result of odb_add() that is not 0, at which the walk ends and what was added stays; -1 without
 *         memory, and where the program has no odb_add()
 */
KVRN_API int update_kvrn_table(void* host, int row);

KVRN_END_DECLS

#endif
