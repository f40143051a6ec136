/* SPDX-License-Identifier: MIT */
/**
 * @file observe.h  Reports what a call reads, and what each source answered.
 *
 * A failed reading has a default value, so the value alone does not show whether it was read. To know this, a program
 * sets a callback and calls the library as usual. Each source that the call reads is reported once, in the order of the
 * reads. The report describes the same read that gives the value: nothing is read only for a report. A GPIO line that
 * could not be driven is also reported.
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
  KVRN_SOURCE_FILE = 4,  /**< a flag or battery data that another program writes; often missing */
  KVRN_SOURCE_IMAGE = 5, /**< a shared image; often missing */
  KVRN_SOURCE_BOARD = 6  /**< identifies the board: a file in /proc, the flash, an SoC register */
};

/** What a value belongs to. Power sources and outputs also have a number. */
enum kvrn_subject {
  KVRN_SUBJECT_DEVICE = 0,
  KVRN_SUBJECT_PSU = 1,
  KVRN_SUBJECT_OUTPUT = 2,
};

/** The meaning of a value. */
enum kvrn_fact {
  KVRN_FACT_NONE = 0, /**< read by number, name or path: only the caller knows the meaning */
  KVRN_FACT_FAMILY,
  KVRN_FACT_CALIBRATION,
  KVRN_FACT_REVISION,
  KVRN_FACT_RECORDS, /**< all values of the subject; for the device: of all its power sources */
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
  KVRN_FACT_CELLS, /**< the upper cells; the lower cells have KVRN_FACT_LOWER_CELLS */
  KVRN_FACT_LOWER_CELLS,
  KVRN_FACT_BLOCK_51,
  KVRN_FACT_BLOCK_55,
  KVRN_FACT_ESTIMATE,
  KVRN_FACT_BATTERY_DATA,
  KVRN_FACT_RESISTANCE,
  KVRN_FACT_CALIBRATING,
  KVRN_FACT_ASSIST, /**< whether a battery can support a single supply */
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
  KVRN_OUTCOME_FAILED = 1,     /**< `error` has the errno */
  KVRN_OUTCOME_REFUSED = 2,    /**< read, but not usable: no number, a supply's "no data", a truncated file */
  KVRN_OUTCOME_STALE = 3,      /**< an image that is too old */
  KVRN_OUTCOME_WRONG_SIZE = 4, /**< an image with a wrong size */
};

/** The age of an image that was never refreshed. */
#define KVRN_NEVER_REFRESHED INT64_MAX

/** One read. The texts are valid only during the callback. */
typedef struct kvrn_observation {
  enum kvrn_source_kind kind;
  enum kvrn_subject subject;
  int subject_number; /**< number of the power source or output, from 0; else 0 */
  enum kvrn_fact fact;
  enum kvrn_outcome outcome;
  int error;        /**< errno when the outcome is KVRN_OUTCOME_FAILED, else 0 */
  const char* path; /**< the file or character device; NULL when no device has the given number */
  int address;      /**< address of a device on an I2C bus, else -1 */
  int number;       /**< packed number of a line (-1 when read by name), or I2C register or block; else -1 */
  int64_t value;    /**< the value; for an image its age in s (negative: stamp in the future) or wrong size */
} kvrn_observation;

typedef void (*kvrn_observer)(const kvrn_observation* observation, void* context);

/**
 * Sets the callback of the calling thread. A value that the process keeps (the board, its number of outputs) is
 * reported only when it is read. When no thread has a callback, each read costs one additional test.
 * @param callback called inside library calls of this thread. It must not call the library and must not throw. NULL
 *                 removes the callback.
 * @param context passed to the callback; the caller keeps it alive
 */
KVRN_API void kvrn_observe(kvrn_observer callback, void* context);

KVRN_END_DECLS

#endif
