/* SPDX-License-Identifier: MIT */
/**
 * @file board.h  Which board this is: the board record, identification, lookups, calibration EEPROM, SoC revision.
 *
 * The board is identified once per process, by the first call of board_identify(). This call also writes the data of
 * the unit into the chosen record. The record is kept until the process ends. No function here is thread-safe during
 * that first call. The integers of these records are in host byte order.
 */
#ifndef KVRN_BOARD_H
#define KVRN_BOARD_H

#include <kvrn/bytes.h>
#include <kvrn/export.h>
#include <stddef.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

/** SoC family codes, as arch_name_to_type() and `soc_type` use them. */
enum kvrn_soc_type {
  KVRN_SOC_AR2313 = 0,
  KVRN_SOC_AR2316 = 1,
  KVRN_SOC_AR7100 = 2,
  KVRN_SOC_AR724X = 3,
  KVRN_SOC_AR933X = 4,
  KVRN_SOC_QCA953X = 5,
  KVRN_SOC_AR934X = 6,
  KVRN_SOC_UNKNOWN = 7
};

/** Number of entries in the board record's tables. */
#define KVRN_BOARD_ETH_MAX 2
#define KVRN_BOARD_LED_MAX 32

/** One Ethernet port of a board. */
typedef struct kvrn_board_eth {
  uint8_t present;      /**< non-zero when the port exists */
  uint8_t constants[5]; /**< constants of the port, not used by the library */
  uint8_t poe_gpio;     /**< packed number of the line that powers PoE on this port; 0 = none */
  uint8_t reserved[125];
  uint16_t max_mtu; /**< largest MTU in bytes; limited by identification */
  uint8_t mac[6];   /**< MAC address of the port; zero before identification */
} kvrn_board_eth;

/** One LED of a board. `role` holds the number of the LED in up to six roles; read it with led_idx() and led_cnt(). */
typedef struct kvrn_board_led {
  uint32_t role;
  uint32_t constant;
} kvrn_board_led;

/** One board model. The layout is fixed: 1408 bytes, records contiguous. */
typedef struct kvrn_board_record {
  char name[32];          /**< display name, NUL-padded; scrambled while `decoded` is 0 */
  char platform_code[16]; /**< up to 5 characters, NUL-padded; scrambled like `name` */
  uint8_t reserved0[8];
  uint32_t soc_type;   /**< enum kvrn_soc_type */
  uint8_t base_mac[6]; /**< zero before identification */
  uint16_t param_a;
  uint16_t param_b;
  uint8_t eth_count; /**< number of used entries of `eth`, 0 to 2 */
  uint8_t reserved1;
  kvrn_board_eth eth[KVRN_BOARD_ETH_MAX];
  uint8_t radio_count; /**< 0: no radio, and no match by the id of the radio */
  uint8_t reserved2;
  uint16_t radio_index;
  uint16_t radio_vendor_id;        /**< PCI vendor id */
  uint16_t radio_subsys_id;        /**< second key of the row; after identification, the detected id */
  uint16_t radio_subsys_vendor_id; /**< after identification, the detected vendor */
  uint8_t reserved3[2];
  uint32_t min_revision; /**< lowest board hardware revision of this row; 0 = any */
  uint32_t constant_a;
  uint32_t cal_power; /**< 14-bit calibration value */
  uint32_t features;  /**< feature bits; identification sets 0x10000 or 0x20000 */
  uint16_t system_id; /**< board system id, the primary key */
  uint8_t reserved4[2];
  kvrn_board_led leds[KVRN_BOARD_LED_MAX];
  uint8_t reserved5[676];
  uint8_t decoded; /**< 1: `name` and `platform_code` are plain text */
  uint8_t reserved6[3];
  uint32_t cpu_revision; /**< SoC revision register, or (uint32_t)-1 / -2; set by identification */
  uint32_t constant_b;
  char uuid_a[40]; /**< UUID text of 36 characters, or empty; not used by the library */
  char uuid_b[40];
} kvrn_board_record;

KVRN_STATIC_ASSERT(sizeof(kvrn_board_eth) == 140, "an Ethernet entry is 140 bytes");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_eth, poe_gpio) == 6, "kvrn_board_eth.poe_gpio");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_eth, max_mtu) == 132, "kvrn_board_eth.max_mtu");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_eth, mac) == 134, "kvrn_board_eth.mac");
KVRN_STATIC_ASSERT(sizeof(kvrn_board_led) == 8, "an LED entry is 8 bytes");
KVRN_STATIC_ASSERT(sizeof(kvrn_board_record) == 1408, "a board record is 1408 bytes");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, soc_type) == 56, "kvrn_board_record.soc_type");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, base_mac) == 60, "kvrn_board_record.base_mac");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, param_a) == 66, "kvrn_board_record.param_a");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, param_b) == 68, "kvrn_board_record.param_b");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, eth_count) == 70, "kvrn_board_record.eth_count");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, eth) == 72, "kvrn_board_record.eth");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, radio_count) == 352, "kvrn_board_record.radio_count");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, radio_index) == 354, "kvrn_board_record.radio_index");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, min_revision) == 364, "kvrn_board_record.min_revision");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, constant_a) == 368, "kvrn_board_record.constant_a");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, cal_power) == 372, "kvrn_board_record.cal_power");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, features) == 376, "kvrn_board_record.features");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, system_id) == 380, "kvrn_board_record.system_id");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, leds) == 384, "kvrn_board_record.leds");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, reserved5) == 640, "kvrn_board_record.reserved5");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, decoded) == 1316, "kvrn_board_record.decoded");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, cpu_revision) == 1320, "kvrn_board_record.cpu_revision");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, constant_b) == 1324, "kvrn_board_record.constant_b");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, uuid_a) == 1328, "kvrn_board_record.uuid_a");
KVRN_STATIC_ASSERT(offsetof(kvrn_board_record, uuid_b) == 1368, "kvrn_board_record.uuid_b");

/** Sizes of the two data blocks in the calibration partition. */
#define KVRN_EEPROM_BOARD_SIZE 20
#define KVRN_EEPROM_RADIO_WORDS 2048

/**
 * A parsed calibration image: copies of the partition's board and radio data, and pointers into these copies. Words are
 * big-endian as in flash. Free it with ar7240_eeprom_free().
 */
typedef struct ar7240_eeprom {
  uint8_t board_copy[KVRN_EEPROM_BOARD_SIZE];
  kvrn_be_u16 radio_copy[KVRN_EEPROM_RADIO_WORDS];
  const uint8_t* board;     /**< 20 bytes: two MACs, system id, magic, revision */
  const kvrn_be_u16* radio; /**< radio data, 2048 words */
  const kvrn_be_u16* cal;   /**< chosen calibration block in the radio data; word 0 is its length in bytes */
} ar7240_eeprom;

KVRN_STATIC_ASSERT(sizeof(void*) != 4 || sizeof(ar7240_eeprom) == 4128, "EEPROM image on the 32-bit target");

/**
 * The generic record of the AR724x family. Identification chooses it when no row matches. It lies directly behind the
 * table of the family and marks the end of the table. Trap: when a program is linked at a fixed address, the linker
 * copies exported data into the program, and identification does not change this copy. Read the chosen board with
 * board_identify().
 */
extern KVRN_API kvrn_board_record ar7240_board;

/** The generic record of the QCA953x family, with the same properties as `ar7240_board`. */
extern KVRN_API kvrn_board_record ar953x_board;

/* Antenna names for display. */
extern KVRN_API const char ANTENNA_NONE[];       /**< "Not specified" */
extern KVRN_API const char ANTENNA_DIVERSITY[];  /**< "Diversity" */
extern KVRN_API const char ANTENNA_2[];          /**< "Antenna 2" */
extern KVRN_API const char ANTENNA_1[];          /**< "Antenna 1" */
extern KVRN_API const char ANTENNA_INT_EXT[];    /**< "External + Internal" */
extern KVRN_API const char ANTENNA_INTERNAL[];   /**< "Internal" */
extern KVRN_API const char ANTENNA_EXTERNAL[];   /**< "External" */
extern KVRN_API const char ANTENNA_ADAPTIVE[];   /**< "Adaptive" */
extern KVRN_API const char ANTENNA_HORIZONTAL[]; /**< "Horizontal" */
extern KVRN_API const char ANTENNA_VERTICAL[];   /**< "Vertical" */
extern KVRN_API const char ANTENNA_SEC[];        /**< "Secondary" */
extern KVRN_API const char ANTENNA_COMBINED[];   /**< "Combined" */
extern KVRN_API const char ANTENNA_MAIN[];       /**< "Main" */
extern KVRN_API const char ANTENNA_17_24[];      /**< "17x24" */
extern KVRN_API const char ANTENNA_11_14[];      /**< "11x14" */
extern KVRN_API const char ANTENNA_300[4];       /**< "300" */
extern KVRN_API const char ANTENNA_400[4];       /**< "400" */

/**
 * The board on which this process runs. The first call reads /proc/cpuinfo, the calibration partition (/proc/mtd,
 * /dev/mtd%d, /dev/mtdblock%d) and the SoC revision (/dev/mem), and writes the data of the unit into the chosen record.
 * Later calls return the same record.
 * @return the chosen record, never null: a table row, or the generic record of the family when the EEPROM is unreadable
 *         or matches no row, or the "Unknown" record on another SoC. Shared, read-only for callers, never freed.
 * Not thread-safe during the first call.
 */
KVRN_API const kvrn_board_record* board_identify(void);

/**
 * Looks up a row of this SoC's family by platform code. Reads /proc/cpuinfo. Does not change the result of
 * board_identify(). A row that was never returned before is compared only with the first 5 characters of the code. A
 * row that was returned before is compared with the whole code.
 * @param code platform code; null finds nothing
 * @return the row, decoded, or null. Not thread-safe: a row is decoded in place.
 */
KVRN_API const kvrn_board_record* board_identify_platform(const char* code);

/**
 * Looks up a row by system id. On a QCA953x SoC it searches the QCA953x rows, on every other SoC the AR724x rows. Reads
 * /proc/cpuinfo.
 * @return the first row with the id, decoded, or null. Not thread-safe: a row is decoded in place.
 */
KVRN_API const kvrn_board_record* board_identify_system(uint32_t system_id);

/**
 * SoC family code of a family name. The case of letters is ignored.
 * @param name   at least `length` characters
 * @param length must be 6
 * @return 3 for "ar7240", 0 for "ar2313", 1 for "ar2316", 2 for "ar7100"; 7 for any other name and for null
 */
KVRN_API uint32_t arch_name_to_type(const char* name, uint32_t length);

/**
 * Display name of a board. It is the record's `name`, except for two boards that differ only in their radio.
 * @return a text that lives as long as the record; null for a null board
 */
KVRN_API const char* map_board_name(const kvrn_board_record* board);

/**
 * The LED with number `ordinal` in a role.
 * @param role    0 to 5
 * @param ordinal 1 to 15 in roles 0 and 1; 1 in roles 2 to 5
 * @return index 0 to 31 of the first such LED entry, or -1
 */
KVRN_API int led_idx(const kvrn_board_record* board, int role, int ordinal);

/** Number of LED entries with a role, 0 to 32; 0 for an unknown role. */
KVRN_API int led_cnt(const kvrn_board_record* board, int role);

/**
 * Identification among the AR724x rows: reads the calibration partition and the SoC revision, chooses a row (or the
 * generic record of the family) and writes the data of the unit into it. board_identify() uses the same steps, but only
 * once; this function repeats them in every call.
 * @param arch family code that a row must have
 * @return the record, never null, never freed. Its name is still scrambled if the row was never decoded.
 * Not thread-safe.
 */
KVRN_API const kvrn_board_record* ar7240_identify(uint32_t arch);

/** ar7240_identify() for the QCA953x rows. */
KVRN_API const kvrn_board_record* ar953x_identify(uint32_t arch);

/**
 * Looks up an AR724x row by platform code. Reads no file and decodes nothing.
 * @param scrambled the first 5 characters of the code, scrambled as in the table, NUL-terminated
 * @param plain     the whole code, compared with rows that are decoded
 * @return the first matching row, or null (also for a null text)
 */
KVRN_API const kvrn_board_record* ar7240_identify_platform(const char* scrambled, const char* plain);

/** ar7240_identify_platform() for the QCA953x rows. */
KVRN_API const kvrn_board_record* ar953x_identify_platform(const char* scrambled, const char* plain);

/** The first AR724x row with a system id, or null. Reads no file and decodes nothing. */
KVRN_API const kvrn_board_record* ar7240_identify_system(uint32_t system_id);

/** ar7240_identify_system() for the QCA953x rows. */
KVRN_API const kvrn_board_record* ar953x_identify_system(uint32_t system_id);

/**
 * Reads and parses the calibration partition of the unit. The partition is the first line of /proc/mtd that contains
 * "EEPROM" or "ART". Its size comes from /dev/mtd%d, its content from /dev/mtdblock%d.
 * @return the image (free with ar7240_eeprom_free()), or null on any failure
 */
KVRN_API ar7240_eeprom* ar7240_eeprom_parse(void);

/**
 * Parses a calibration image in memory. Bytes behind `size` read as 0.
 * @param flash the image
 * @param size  its size in bytes, at least 4096
 * @return the parsed image (free with ar7240_eeprom_free()), or null (too short, null, out of memory)
 */
KVRN_API ar7240_eeprom* ar7240_eeprom_parsemem(const uint8_t* flash, int size);

/** Frees an image. Null is accepted. */
KVRN_API void ar7240_eeprom_free(ar7240_eeprom* image);

/** Word `index` of the radio data; 0 behind its end or for a null image. */
KVRN_API uint16_t ar7240_rd_get(const ar7240_eeprom* image, uint32_t index);

/** Word `index` of the chosen calibration block; 0 behind the end of the radio data or for a null image. */
KVRN_API uint16_t ar7240_rd_base_get(const ar7240_eeprom* image, uint32_t index);

/**
 * The SoC revision register (physical address 0x18060090, through /dev/mem).
 * @return the register; (uint32_t)-2 when /dev/mem cannot be opened, (uint32_t)-1 when it cannot be mapped
 */
KVRN_API uint32_t ar724x_get_cpu_revision(void);

/** The same as ar724x_get_cpu_revision(). */
KVRN_API uint32_t ar953x_get_cpu_revision(void);

KVRN_END_DECLS

#endif
