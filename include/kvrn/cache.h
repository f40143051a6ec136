/* SPDX-License-Identifier: MIT */
/**
 * @file cache.h  The status caches: one monitoring process shares its readings with all other processes through mapped
 * files. Also the lock of the processes that switch the DC outputs.
 *
 * An image has a fixed size and is big-endian. Its last 8 bytes are the stamp: the monotonic time of the last refresh
 * in seconds, or -1 when there was no refresh since the writer mapped the file. No lock protects an image: a reader may
 * see a record that is only partly written. Readers and writers open only regular files and follow no symbolic link,
 * because every user can create a link in /tmp.
 */
#ifndef KVRN_CACHE_H
#define KVRN_CACHE_H

#include <kvrn/bytes.h>
#include <kvrn/export.h>
#include <stddef.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

struct psu_info;

/** Number of DC outputs in the output cache. */
#define KVRN_OUTPUT_MAX 3

/** Values of `output_status.state`. */
enum kvrn_output_state {
  KVRN_OUTPUT_NORMAL = 0, /**< on, at least 900000 uW, no overload */
  KVRN_OUTPUT_SHED = 1,   /**< shed because of low voltage, insufficient power or overload */
  KVRN_OUTPUT_OVERLOAD = 2,
  KVRN_OUTPUT_PROTECTED = 3, /**< the hardware protection tripped, or the overload flag is 2 */
  KVRN_OUTPUT_IDLE = 4,      /**< on, less than 900000 uW */
  KVRN_OUTPUT_CONFIGURED_OFF = 5
};

/** One DC output, 24 bytes, big-endian. */
typedef struct output_status {
  kvrn_be_i32 voltage_mv;
  kvrn_be_i32 current_ma;
  kvrn_be_i32 power_uw;  /**< a value below 100000 is stored as 0 */
  kvrn_be_i32 enabled;   /**< 1: switched on, and its protection did not trip */
  kvrn_be_i32 max_power; /**< always 0 in the cache */
  kvrn_be_i32 state;     /**< enum kvrn_output_state */
} output_status;

KVRN_STATIC_ASSERT(sizeof(output_status) == 24, "an output record is 24 bytes");
KVRN_STATIC_ASSERT(offsetof(output_status, enabled) == 12, "output_status.enabled");
KVRN_STATIC_ASSERT(offsetof(output_status, state) == 20, "output_status.state");

/** "/tmp/.output_cache", 80 bytes. */
typedef struct kvrn_output_image {
  output_status records[KVRN_OUTPUT_MAX];
  kvrn_be_i64 stamp;
} kvrn_output_image;

KVRN_STATIC_ASSERT(sizeof(kvrn_output_image) == 80, "the output cache is 80 bytes");
KVRN_STATIC_ASSERT(offsetof(kvrn_output_image, stamp) == 72, "kvrn_output_image.stamp");

/**
 * A view of a cache: the mapped records, their number, and the descriptor of the mapped file (0 = none).
 *
 * The mapping is live. If another program truncates the file while a caller holds the view, an access to the records
 * ends the process with SIGBUS. A reader that must survive this copies the records with pread() from `fd` instead (the
 * records begin at offset 0).
 */
typedef struct psu_info_view {
  const struct psu_info* records;
  int count;
  int fd;
} psu_info_view;

typedef struct output_view {
  const output_status* records;
  int count;
  int fd;
} output_view;

KVRN_STATIC_ASSERT(sizeof(psu_info_view) == sizeof(void*) + 2 * sizeof(int), "a view has no padding");
KVRN_STATIC_ASSERT(sizeof(output_view) == sizeof(psu_info_view), "both views are alike");

/**
 * The writer object of a cache. A caller may also pass such an object to a readout, which then uses it in place of the
 * cache. `view` is a psu_info_view or an output_view, depending on the kind of the object. `get` must set the view's
 * `fd` to 0, or to the descriptor of the file that `records` maps from offset 0: the library reads the records through
 * this descriptor.
 */
typedef struct cache_source cache_source;
struct cache_source {
  void* state;                                /**< private data of the object */
  int (*update)(cache_source* self);          /**< refreshes the file */
  int (*get)(cache_source* self, void* view); /**< fills the view from the mapping; non-zero on success */
  void (*destroy)(cache_source* self);        /**< frees the object; its mapping and descriptor stay open */
};

KVRN_STATIC_ASSERT(sizeof(cache_source) == 4 * sizeof(void*), "four members, the private state follows them");

/**
 * Maps "/tmp/.psu_info_cache". A missing cache, or a cache older than 10 seconds, fails without a message. A file with
 * another size, or a file that cannot be mapped, is logged at LOG_INFO ("PSU cache: ..."). Trap: the stamp -1 counts as
 * a time. In the first nine seconds after system start it is not too old, and the call succeeds with an image that was
 * never refreshed.
 * @param view zeroed first; release it with psu_info_cache_data_free()
 * @return 1 when the view was filled, else 0
 */
KVRN_API int get_psu_info_cache_data(psu_info_view* view);

/** Unmaps, closes and zeroes a view of get_psu_info_cache_data(). Does nothing for a zeroed view or null. */
KVRN_API void psu_info_cache_data_free(psu_info_view* view);

/**
 * Maps "/tmp/.output_cache" with any age. Otherwise it works like get_psu_info_cache_data() ("Output cache: ...").
 * @return 1 when the view was filled, else 0
 */
KVRN_API int get_output_cache_data(output_view* view);

/** Unmaps, closes and zeroes a view of get_output_cache_data(). Does nothing for a zeroed view or null. */
KVRN_API void output_cache_data_free(output_view* view);

/* ---- Writers: one process on the device owns both and calls their `update` periodically ---- */

/*
 * An update reads the hardware, writes the records, and then writes the stamp. It first maps the file if the file is
 * not mapped yet. It maps the file again after the file was removed or replaced. A file that was truncated becomes
 * complete again. The result of an update has no meaning for callers: it is the upper half of the stamp, or 0 when the
 * file cannot be mapped, which is logged at LOG_WARNING. A new file has mode 0640. A file that is too long is used
 * unchanged, but readers refuse it. Mapping a file invalidates the image: its stamp becomes -1 and its first record
 * zero until the update ends.
 *
 * `get` fills a view that is valid until the next update; do not release it. While the file is not mapped, `get`
 * returns 0 and a zeroed view. `destroy` frees only the object: mapping and descriptor stay open until the process
 * ends. A process should therefore create its object once and keep it. Only one thread at a time may use an object.
 */

/** Creates a writer of "/tmp/.psu_info_cache". Its `get` fills a psu_info_view. @return null when out of memory */
KVRN_API cache_source* psu_info_cache_new(void);

/**
 * Creates a writer of "/tmp/.output_cache". Its `get` fills an output_view. While get_overload_status() is not 0, an
 * update sheds outputs, starting with the highest number, until the power of the other outputs is within the limit.
 * @param limit_mw limit for the power of all outputs together; read at every update, must outlive the object. Null: no
 *                 shedding.
 * @param word     stored, never used
 * @return null when out of memory
 */
KVRN_API cache_source* output_cache_new(const int* limit_mw, uintptr_t word);

/* ---- The lock of the processes that switch the DC outputs ---- */

/**
 * A lock between processes: the process that creates the lock file holds the lock. Free the object with its `destroy`.
 * Use one object only in one thread of one process.
 *
 * Warning. This behaviour is part of the contract:
 * - A lock file older than twice the waiting time counts as the file of a dead process, and a waiting process breaks
 *   the lock. A process that holds the lock longer than this time loses the lock, and its unlock then removes the file
 *   of the next holder. Breaking a lock is not atomic.
 * - `lock` on an object that is already held returns 0, but increments a count: one more `unlock` is needed.
 * - A failed `lock` leaves the object as if it held the lock: another `lock` returns 0 at once, and `unlock` (or
 *   `destroy`) removes the file of the real holder.
 * - `call_locked` does not wait. After 20 ms it breaks a lock file that is older than the current second. It therefore
 *   excludes only other calls of `call_locked`, and only for a second.
 */
typedef struct InterProcessLock InterProcessLock;
struct InterProcessLock {
  void* state; /**< private data of the object */
  /**
   * Tries every 20 ms for 10 times the waiting time. It fails without waiting when the file cannot be created for a
   * reason other than that it exists. With a negative waiting time it breaks the lock or fails at once.
   * @return non-zero: acquired; 0: not acquired, or already held
   */
  int (*lock)(InterProcessLock* self);
  void (*unlock)(InterProcessLock* self); /**< the last unlock removes the file; no effect when not held */
  /** Calls a function while it holds the lock. @return the function's result; 0 when it was not called */
  int (*call_locked)(InterProcessLock* self, int (*function)(uintptr_t word), uintptr_t word);
  void (*destroy)(InterProcessLock* self); /**< unlocks once, then frees the object, but not the path */
};

KVRN_STATIC_ASSERT(sizeof(InterProcessLock) == 5 * sizeof(void*), "five members");

/**
 * Creates a lock on a file.
 * @param path   must outlive the object; null gives null
 * @param wait_s waiting time in seconds
 * @return null when out of memory
 */
KVRN_API InterProcessLock* InterProcessLockNew(const char* path, int64_t wait_s);

/** InterProcessLockNew() for "/tmp/.dc_out_lock" with a waiting time of 10 seconds. */
KVRN_API InterProcessLock* get_dc_output_lock(void);

KVRN_END_DECLS

#endif
