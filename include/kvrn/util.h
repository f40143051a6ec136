/* SPDX-License-Identifier: MIT */
/**
 * @file util.h  Clocks, averaging buffer, file copy and numbered backups, small file readers.
 *
 * Every function may be called from several threads at once as long as each has a buffer or file of its own.
 */
#ifndef KVRN_UTIL_H
#define KVRN_UTIL_H

#include <kvrn/export.h>
#include <stddef.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

/**
 * The monotonic clock in seconds. A system without that clock cannot age a cache: the process is aborted with
 * "CLOCK_MONOTONIC not supported" on standard error.
 */
KVRN_API int64_t get_timestamp_mono(void);

/** The monotonic clock in milliseconds, cut. Aborts as get_timestamp_mono() does. */
KVRN_API int64_t get_timestamp_mono_ms(void);

/** The wall clock in seconds since 1970; 0 when it cannot be read. */
KVRN_API int64_t get_timestamp(void);

/** The wall clock in milliseconds since 1970, cut; 0 when it cannot be read. */
KVRN_API int64_t get_timestamp_ms(void);

/** A caller-owned ring of samples and its running average. */
typedef struct avg_value_buff {
  int64_t* samples; /**< `capacity` samples, allocated by avg_value_buff_init() */
  uint32_t count;   /**< samples held */
  uint32_t next;    /**< ring position written next */
  uint32_t capacity;
  int64_t average; /**< last computed average */
} avg_value_buff;

KVRN_STATIC_ASSERT(sizeof(void*) != 4 || (offsetof(avg_value_buff, average) == 16 && sizeof(avg_value_buff) == 24),
                   "averaging buffer on the 32-bit target");

/**
 * Allocates the ring and resets the buffer. Free it with avg_value_buff_clean().
 * @param capacity ring size; with 0 the first add divides by zero
 * @return 1, or 0 when the ring cannot be allocated (`samples` is null then) or the buffer is null
 */
KVRN_API int avg_value_buff_init(avg_value_buff* buffer, uint32_t capacity);

/** Forgets the samples. Null is ignored. */
KVRN_API void avg_value_buff_reset(avg_value_buff* buffer);

/**
 * Adds a sample, in place of the oldest when the ring is full.
 * @return the new average of the samples held, cut to its low 32 bits and sign-extended: averages beyond the signed
 *         32-bit range wrap. 0 for a null buffer, or one that has no ring.
 */
KVRN_API int64_t avg_value_buff_add(avg_value_buff* buffer, int64_t value);

/** Frees the ring; the pointer in the buffer keeps its old value. Null is ignored. */
KVRN_API void avg_value_buff_clean(avg_value_buff* buffer);

/**
 * Copies a file to a destination that must not exist yet.
 * @param mode permission bits of the new file (the umask applies)
 * @return 1; or 0 with the failing step's errno. A partly written destination is left in place.
 */
KVRN_API int fileCopy(const char* source, const char* destination, int mode);

/**
 * Keeps numbered copies of DIRECTORY/NAME in DIRECTORY/NAME_b/: NAME.0 is the newest, NAME.20 the oldest. Creates the
 * folder when needed; missing copies are skipped, errors are ignored.
 */
KVRN_API void backup_file(const char* directory, const char* name);

/** The number ("%u") at the start of a file; 0 when the file is missing or holds none. */
KVRN_API uint32_t read_from_file(const char* path);

/** Switches a descriptor to non-blocking mode. @return 1, or 0 on failure (errno is set) */
KVRN_API int set_nonblocking(int fd);

/**
 * Bounded copy that always terminates.
 * @param size bytes of the destination; 0 means no limit
 * @return characters copied; 0 without writing when either pointer is null
 */
KVRN_API uint32_t strncpy_s(char* destination, const char* source, uint32_t size);

KVRN_END_DECLS

#endif
