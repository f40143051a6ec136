/* SPDX-License-Identifier: MIT */
/**
 * @file board.h  Which board this is: the board record, identification, lookups, calibration EEPROM, SoC revision.
 *
 * The board is identified once per process, at the first call of board_identify(); the record is patched in place
 * with the unit's own facts and kept until the process ends. None of the functions here is thread-safe at that first
 * call. The integers of these records are native.
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
  uint8_t present;      /**< non-zero: the port exists */
  uint8_t constants[5]; /**< port constants, not interpreted here */
  uint8_t poe_gpio;     /**< packed number of the line that powers PoE on this port; 0 = none */
  uint8_t reserved[125];
  uint16_t max_mtu; /**< largest MTU in bytes; clamped at identification */
  uint8_t mac[6];   /**< port MAC address; zero until identification */
} kvrn_board_eth;

/** One LED of a board. `role` packs the LED's place in up to six roles; ask led_idx() and led_cnt(). */
typedef struct kvrn_board_led {
  uint32_t role;
  uint32_t constant;
} kvrn_board_led;

/** One board model. The layout is fixed: 1408 bytes, records contiguous. */
typedef struct kvrn_board_record {
  char name[32];          /**< display name, NUL-padded; scrambled in table rows until `decoded` */
  char platform_code[16]; /**< up to 5 characters, NUL-padded; scrambled like `name` */
  uint8_t reserved0[8];
  uint32_t soc_type;   /**< enum kvrn_soc_type */
  uint8_t base_mac[6]; /**< zero until identification */
  uint16_t param_a;
  uint16_t param_b;
  uint8_t eth_count; /**< entries of `eth` in use, 0 to 2 */
  uint8_t reserved1;
  kvrn_board_eth eth[KVRN_BOARD_ETH_MAX];
  uint8_t radio_count; /**< 0: no radio, and no matching on the radio identity */
  uint8_t reserved2;
  uint16_t radio_index;
  uint16_t radio_vendor_id;        /**< PCI vendor id */
  uint16_t radio_subsys_id;        /**< second key of the row; the detected id after identification */
  uint16_t radio_subsys_vendor_id; /**< the detected vendor after identification */
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
  uint32_t cpu_revision; /**< SoC revision register, or (uint32_t)-1 / -2; written at identification */
  uint32_t constant_b;
  char uuid_a[40]; /**< 36-character UUID text or empty; not interpreted here */
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

/** Bytes of the calibration partition's two data blocks. */
#define KVRN_EEPROM_BOARD_SIZE 20
#define KVRN_EEPROM_RADIO_WORDS 2048

/**
 * A parsed calibration image: copies of the partition's board and radio data, and pointers into those copies.
 * Words are big-endian as in flash. Released with ar7240_eeprom_free().
 */
typedef struct ar7240_eeprom {
  uint8_t board_copy[KVRN_EEPROM_BOARD_SIZE];
  kvrn_be_u16 radio_copy[KVRN_EEPROM_RADIO_WORDS];
  const uint8_t* board;     /**< 20 bytes: two MACs, system id, magic, revision */
  const kvrn_be_u16* radio; /**< radio data, 2048 words */
  const kvrn_be_u16* cal;   /**< chosen calibration block, inside the radio data; word 0 is its length in bytes */
} ar7240_eeprom;

KVRN_STATIC_ASSERT(sizeof(void*) != 4 || sizeof(ar7240_eeprom) == 4128, "EEPROM image on the 32-bit target");

/**
 * The generic record of the AR724x family, chosen when no row matches. It lies directly behind the family's table and
 * marks the table's end. In a program linked at a fixed address the linker copies exported data into the program, and
 * the copy never sees what identification writes: use board_identify() to read the chosen board.
 */
extern KVRN_API kvrn_board_record ar7240_board;

/** The generic record of the QCA953x family; otherwise as `ar7240_board`. */
extern KVRN_API kvrn_board_record ar953x_board;

/* Antenna names, for people. */
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
 * The board this process runs on. The first call reads /proc/cpuinfo, the calibration partition (/proc/mtd,
 * /dev/mtd%d, /dev/mtdblock%d) and the SoC revision (/dev/mem), and patches the chosen record; later calls return it.
 * @return the chosen record, never null: a table row, the family's generic record when the EEPROM is unreadable or
 *         names no row, or the "Unknown" record on another SoC. Shared, read-only for callers, never freed.
 * Not thread-safe at the first call.
 */
KVRN_API const kvrn_board_record* board_identify(void);

/**
 * Looks up a row of this SoC's family by platform code. Reads /proc/cpuinfo. Does not change the board of
 * board_identify(). Only the first 5 characters count against a row that was never returned before; a row that was
 * returned before is compared with the whole code.
 * @param code platform code; null finds nothing
 * @return the row, decoded, or null. Not thread-safe: a row is decoded in place.
 */
KVRN_API const kvrn_board_record* board_identify_platform(const char* code);

/**
 * Looks up a row by system id: among the QCA953x rows on that family, among the AR724x rows on every other SoC.
 * Reads /proc/cpuinfo.
 * @return the first row with that id, decoded, or null. Not thread-safe: a row is decoded in place.
 */
KVRN_API const kvrn_board_record* board_identify_system(uint32_t system_id);

/**
 * SoC family code of a family name, upper or lower case.
 * @param name   at least `length` characters
 * @param length must be 6
 * @return 3 "ar7240", 0 "ar2313", 1 "ar2316", 2 "ar7100"; 7 for anything else and for null
 */
KVRN_API uint32_t arch_name_to_type(const char* name, uint32_t length);

/**
 * Display name of a board: the record's `name`, except for two boards that are told apart by their radio.
 * @return text that lives as long as the record; null for a null board
 */
KVRN_API const char* map_board_name(const kvrn_board_record* board);

/**
 * The LED that is number `ordinal` in a role.
 * @param role    0 to 5
 * @param ordinal 1 to 15 in roles 0 and 1; 1 in roles 2 to 5
 * @return index 0 to 31 of the first such LED entry, or -1
 */
KVRN_API int led_idx(const kvrn_board_record* board, int role, int ordinal);

/** Number of LED entries in a role, 0 to 32; 0 for an unknown role. */
KVRN_API int led_cnt(const kvrn_board_record* board, int role);

/**
 * Identification among the AR724x rows: reads the calibration partition and the SoC revision, chooses a row (or the
 * family's generic record) and patches it. board_identify() does the same; each call patches again.
 * @param arch family code that a row must have
 * @return the record, never null, never freed; its name is still scrambled if the row was never decoded
 * Not thread-safe.
 */
KVRN_API const kvrn_board_record* ar7240_identify(uint32_t arch);

/** ar7240_identify() among the QCA953x rows. */
KVRN_API const kvrn_board_record* ar953x_identify(uint32_t arch);

/**
 * AR724x row by platform code. Reads no file; nothing is decoded.
 * @param scrambled the first 5 characters of the code, scrambled as in the table, NUL-terminated
 * @param plain     the whole code, compared with rows that are decoded
 * @return the first matching row, or null (also for a null text)
 */
KVRN_API const kvrn_board_record* ar7240_identify_platform(const char* scrambled, const char* plain);

/** ar7240_identify_platform() among the QCA953x rows. */
KVRN_API const kvrn_board_record* ar953x_identify_platform(const char* scrambled, const char* plain);

/** First AR724x row with that system id, or null. Reads no file; nothing is decoded. */
KVRN_API const kvrn_board_record* ar7240_identify_system(uint32_t system_id);

/** ar7240_identify_system() among the QCA953x rows. */
KVRN_API const kvrn_board_record* ar953x_identify_system(uint32_t system_id);

/**
 * Reads and parses the unit's calibration partition: the first line of /proc/mtd that names "EEPROM" or "ART", its
 * size from /dev/mtd%d, its content from /dev/mtdblock%d.
 * @return the image (free with ar7240_eeprom_free()), or null on any failure
 */
KVRN_API ar7240_eeprom* ar7240_eeprom_parse(void);

/**
 * Parses a calibration image in memory. Bytes past `size` read as 0.
 * @param flash image; @param size bytes, at least 4096
 * @return the image (free with ar7240_eeprom_free()), or null (too short, null, out of memory)
 */
KVRN_API ar7240_eeprom* ar7240_eeprom_parsemem(const uint8_t* flash, int size);

/** Releases an image; null is accepted. */
KVRN_API void ar7240_eeprom_free(ar7240_eeprom* image);

/** Word `index` of the radio data; 0 past its end or for a null image. */
KVRN_API uint16_t ar7240_rd_get(const ar7240_eeprom* image, uint32_t index);

/** Word `index` of the chosen calibration block; 0 past the end of the radio data or for a null image. */
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
