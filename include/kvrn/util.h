/* SPDX-License-Identifier: MIT */
/**
 * @file util.h  Clocks, averaging buffer, file copy and numbered backups, small file readers.
 *
 * Several threads may call these functions at once, as long as each thread uses its own buffer or file.
 */
#ifndef KVRN_UTIL_H
#define KVRN_UTIL_H

#include <kvrn/export.h>
#include <stddef.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

/**
 * The monotonic clock in seconds. Without this clock the age of a cache is unknown. When the clock is missing, the call
 * writes "CLOCK_MONOTONIC not supported" to standard error and aborts the process.
 */
KVRN_API int64_t get_timestamp_mono(void);

/** The monotonic clock in milliseconds, rounded down. Aborts like get_timestamp_mono(). */
KVRN_API int64_t get_timestamp_mono_ms(void);

/** The wall clock in seconds since 1970; 0 when it cannot be read. */
KVRN_API int64_t get_timestamp(void);

/** The wall clock in milliseconds since 1970, rounded down; 0 when it cannot be read. */
KVRN_API int64_t get_timestamp_ms(void);

/** A ring buffer of samples and its running average. The caller owns it. */
typedef struct avg_value_buff {
  int64_t* samples; /**< `capacity` samples, allocated by avg_value_buff_init() */
  uint32_t count;   /**< number of samples in the ring */
  uint32_t next;    /**< ring position of the next sample */
  uint32_t capacity;
  int64_t average; /**< last computed average */
} avg_value_buff;

KVRN_STATIC_ASSERT(sizeof(void*) != 4 || (offsetof(avg_value_buff, average) == 16 && sizeof(avg_value_buff) == 24),
                   "averaging buffer on the 32-bit target");

/**
 * Allocates the ring and resets the buffer. Free the ring with avg_value_buff_clean().
 * @param capacity ring size; with 0 the first add divides by zero
 * @return 1; 0 when the buffer is null, or the ring cannot be allocated (`samples` is then null)
 */
KVRN_API int avg_value_buff_init(avg_value_buff* buffer, uint32_t capacity);

/** Removes all samples. Null is ignored. */
KVRN_API void avg_value_buff_reset(avg_value_buff* buffer);

/**
 * Adds a sample. When the ring is full, the new sample replaces the oldest one.
 * @return the new average of the samples in the ring. Only its low 32 bits are kept and sign-extended: an average
 *         outside the signed 32-bit range wraps. 0 for a null buffer, or a buffer without a ring.
 */
KVRN_API int64_t avg_value_buff_add(avg_value_buff* buffer, int64_t value);

/** Frees the ring. The `samples` pointer keeps its old value. Null is ignored. */
KVRN_API void avg_value_buff_clean(avg_value_buff* buffer);

/**
 * Copies a file to a destination that must not exist yet.
 * @param mode permission bits of the new file (the umask applies)
 * @return 1; or 0 with the errno of the step that failed. A partly written destination is not removed.
 */
KVRN_API int fileCopy(const char* source, const char* destination, int mode);

/**
 * Keeps numbered copies of DIRECTORY/NAME in DIRECTORY/NAME_b/: NAME.0 is the newest copy, NAME.20 the oldest. Creates
 * the folder if needed. Missing copies are skipped, and errors are ignored.
 */
KVRN_API void backup_file(const char* directory, const char* name);

/** The number ("%u") at the start of a file; 0 when the file is missing or does not begin with a number. */
KVRN_API uint32_t read_from_file(const char* path);

/** Switches a descriptor to non-blocking mode. @return 1, or 0 on failure (errno is set) */
KVRN_API int set_nonblocking(int fd);

/**
 * Copies a text, up to the size of the destination. The copy always ends with a NUL.
 * @param size size of the destination in bytes; 0 means no limit
 * @return number of characters copied; 0 when either pointer is null (nothing is written then)
 */
KVRN_API uint32_t strncpy_s(char* destination, const char* source, uint32_t size);

KVRN_END_DECLS

#endif
