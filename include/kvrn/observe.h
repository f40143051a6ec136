/* SPDX-License-Identifier: MIT */
/**
 * @file observe.h  What a call reads, and what each source answered.
 *
 * A failed reading has a default, so a value alone does not tell whether it was read. A program that wants to know sets
 * a callback and calls the library as usual: every source that the call asks is reported once, in the order of asking,
 * from the very read whose value is used. Nothing is read for the report. A line that could not be driven is reported
 * too.
 */
#ifndef KVRN_OBSERVE_H
#define KVRN_OBSERVE_H

#include <kvrn/export.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

/** Where a value comes from. */
enum kvrn_source_kind {
  KVRN_SOURCE_GPIO = 0,  /**< a line of a GPIO chip */
  KVRN_SOURCE_I2C = 1,   /**< a register of an I2C device */
  KVRN_SOURCE_BLOCK = 2, /**< a block of an I2C device that has block reads */
  KVRN_SOURCE_HWMON = 3, /**< an attribute of a monitor */
  KVRN_SOURCE_FILE = 4,  /**< a file that another program writes: a flag, a battery's data; it may well be missing */
  KVRN_SOURCE_IMAGE = 5, /**< a shared image; it may well be missing */
  KVRN_SOURCE_BOARD = 6  /**< what tells the board: a file of /proc, the flash, the SoC's registers */
};

/** Whom a value tells of; sources and outputs have a number. */
enum kvrn_subject {
  KVRN_SUBJECT_DEVICE = 0,
  KVRN_SUBJECT_PSU = 1,
  KVRN_SUBJECT_OUTPUT = 2,
};

/** What a value tells. */
enum kvrn_fact {
  KVRN_FACT_NONE = 0, /**< asked by number, name or path: the caller knows what for */
  KVRN_FACT_FAMILY,
  KVRN_FACT_CALIBRATION,
  KVRN_FACT_REVISION,
  KVRN_FACT_RECORDS, /**< all values of the subject; of the device: of all its sources */
  KVRN_FACT_OUTPUT_RECORDS,
  KVRN_FACT_MAINS,
  KVRN_FACT_SLOT,
  KVRN_FACT_OUTPUT_VOLTAGE,
  KVRN_FACT_OUTPUT_CURRENT,
  KVRN_FACT_CHARGE_DISABLE,
  KVRN_FACT_CHARGER,
  KVRN_FACT_CHARGING_CURRENT,
  KVRN_FACT_PRESENT,
  KVRN_FACT_CHARGING,
  KVRN_FACT_STATUS,
  KVRN_FACT_STATE_CODE,
  KVRN_FACT_VOLTAGE,
  KVRN_FACT_CURRENT,
  KVRN_FACT_TEMPERATURE,
  KVRN_FACT_TIME_TO_EMPTY,
  KVRN_FACT_TIME_TO_FULL,
  KVRN_FACT_CYCLE_COUNT,
  KVRN_FACT_MANUFACTURE_DATE,
  KVRN_FACT_CAPACITY_MODE,
  KVRN_FACT_FULL_CAPACITY,
  KVRN_FACT_REMAINING_CAPACITY,
  KVRN_FACT_DESIGN_CAPACITY,
  KVRN_FACT_CELLS, /**< of the upper cells; of the lower, KVRN_FACT_LOWER_CELLS */
  KVRN_FACT_LOWER_CELLS,
  KVRN_FACT_BLOCK_51,
  KVRN_FACT_BLOCK_55,
  KVRN_FACT_ESTIMATE,
  KVRN_FACT_BATTERY_DATA,
  KVRN_FACT_RESISTANCE,
  KVRN_FACT_CALIBRATING,
  KVRN_FACT_ASSIST, /**< a battery can help a single supply */
  KVRN_FACT_SWITCHED,
  KVRN_FACT_CONFIGURED,
  KVRN_FACT_PROTECTION,
  KVRN_FACT_OVERLOAD,
  KVRN_FACT_OVERLOAD_REQUEST,
  KVRN_FACT_INSUFFICIENT_POWER,
  KVRN_FACT_MAINS_OUTAGE,
  KVRN_FACT_MAINS_OUTAGE_OVERLOAD,
  KVRN_FACT_BATTERY_OUTAGE,
  KVRN_FACT_LOW_VOLTAGE,
  KVRN_FACT_POWER_METER,
  KVRN_FACT_CONFIGURATION,
  KVRN_FACT_COUNT
};

/** How a read ended. */
enum kvrn_outcome {
  KVRN_OUTCOME_ANSWERED = 0,
  KVRN_OUTCOME_FAILED = 1,     /**< `error` is the errno */
  KVRN_OUTCOME_REFUSED = 2,    /**< it was read, but is no use: no number, a supply's "no data", a cut file */
  KVRN_OUTCOME_STALE = 3,      /**< an image that nobody refreshes */
  KVRN_OUTCOME_WRONG_SIZE = 4, /**< an image of another size */
};

/** An image that was never refreshed has this age. */
#define KVRN_NEVER_REFRESHED INT64_MAX

/** One read. Texts are valid during the callback. */
typedef struct kvrn_observation {
  enum kvrn_source_kind kind;
  enum kvrn_subject subject;
  int subject_number; /**< of the source from 0, of the output from 0; else 0 */
  enum kvrn_fact fact;
  enum kvrn_outcome outcome;
  int error;        /**< errno where the outcome is KVRN_OUTCOME_FAILED, else 0 */
  const char* path; /**< the file or character device; NULL: there is none of that number */
  int address;      /**< of the device on an I2C bus, else -1 */
  int number;       /**< a line: its packed number, -1 when asked by name; an I2C register or block; else -1 */
  int64_t value;    /**< what was read; an image's age in s (negative: stamped in the future), or its wrong size */
} kvrn_observation;

typedef void (*kvrn_observer)(const kvrn_observation* observation, void* context);

/**
 * Sets the calling thread's callback. What is remembered for the life of the process (the board, its output count) is
 * reported only when it is read. Without a callback in any thread a read costs one test more.
 * @param callback called from within the library's calls of this thread; it must not call the library and not throw;
 *                 NULL: none any more
 * @param context handed to the callback; the caller keeps it alive
 */
KVRN_API void kvrn_observe(kvrn_observer callback, void* context);

KVRN_END_DECLS

#endif
