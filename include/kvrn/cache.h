/* SPDX-License-Identifier: MIT */
/**
 * @file cache.h  The status caches: readings that one monitoring process shares with every other through mapped files;
 * and the lock of the processes that switch the DC outputs.
 *
 * An image is fixed in size and big-endian; its last 8 bytes are the monotonic time in seconds of the last refresh,
 * -1 when it was not refreshed since its writer mapped it. No lock protects it: a reader may meet a record in the
 * middle of a copy. Readers and writers open regular files only, and through no link, for everybody may put one into
 * /tmp.
 */
#ifndef KVRN_CACHE_H
#define KVRN_CACHE_H

#include <kvrn/bytes.h>
#include <kvrn/export.h>
#include <stddef.h>
#include <stdint.h>

KVRN_BEGIN_DECLS

struct psu_info;

/** DC outputs in the output cache. */
#define KVRN_OUTPUT_MAX 3

/** `output_status.state` */
enum kvrn_output_state {
  KVRN_OUTPUT_NORMAL = 0, /**< on, drawing at least 900000 uW, no overload */
  KVRN_OUTPUT_SHED = 1,   /**< dropped: low voltage, insufficient power, or shed for overload */
  KVRN_OUTPUT_OVERLOAD = 2,
  KVRN_OUTPUT_PROTECTED = 3, /**< hardware protection, or overload flag 2 */
  KVRN_OUTPUT_IDLE = 4,      /**< on, drawing less than 900000 uW */
  KVRN_OUTPUT_CONFIGURED_OFF = 5
};

/** One DC output, 24 bytes, big-endian. */
typedef struct output_status {
  kvrn_be_i32 voltage_mv;
  kvrn_be_i32 current_ma;
  kvrn_be_i32 power_uw;  /**< below 100000 is stored as 0 */
  kvrn_be_i32 enabled;   /**< 1: switched on and not stopped by its protection */
  kvrn_be_i32 max_power; /**< 0 in the cache */
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
 * What a reader hands out: the mapped records, their number and the descriptor behind the mapping (0 = none).
 *
 * The mapping is live. If another program cuts the file short while the view is held, touching the records ends the
 * process with SIGBUS; a reader that must survive that copies them with pread() from `fd` instead (the records begin
 * at offset 0).
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
 * The writer object of a cache, and the stand-in for a cache that callers may pass to a readout. `view` is a
 * psu_info_view or an output_view, by the object's kind. What `get` puts into the view's `fd` must be 0, or the
 * descriptor of the file that `records` maps from offset 0: the library reads the records through it.
 */
typedef struct cache_source cache_source;
struct cache_source {
  void* state;                                /**< the object's own */
  int (*update)(cache_source* self);          /**< refreshes the file */
  int (*get)(cache_source* self, void* view); /**< non-zero: filled the view from the object's own mapping */
  void (*destroy)(cache_source* self);        /**< frees the object; mapping and descriptor stay open */
};

KVRN_STATIC_ASSERT(sizeof(cache_source) == 4 * sizeof(void*), "four members, the private state follows them");

/**
 * Maps "/tmp/.psu_info_cache". A missing or old cache (more than 10 seconds) is refused silently; a file of another
 * size, or one that cannot be mapped, is logged at LOG_INFO ("PSU cache: ..."). The stamp -1 is a time as well: in the
 * first nine seconds after the start of the system it is not old, and an image without a refresh is handed out.
 * @param view zeroed first; release it with psu_info_cache_data_free()
 * @return 1 when the view was filled, else 0
 */
KVRN_API int get_psu_info_cache_data(psu_info_view* view);

/** Unmaps, closes and zeroes a view of get_psu_info_cache_data(). Harmless on a zeroed view and on null. */
KVRN_API void psu_info_cache_data_free(psu_info_view* view);

/**
 * Maps "/tmp/.output_cache", whatever its age. Otherwise as get_psu_info_cache_data() ("Output cache: ...").
 * @return 1 when the view was filled, else 0
 */
KVRN_API int get_output_cache_data(output_view* view);

/** Unmaps, closes and zeroes a view of get_output_cache_data(). Harmless on a zeroed view and on null. */
KVRN_API void output_cache_data_free(output_view* view);

/* ---- Writers: one process on the device owns both and calls their `update` periodically ---- */

/*
 * An update reads the hardware and writes the records, then the stamp. It maps the file first when that is not done
 * yet, and anew when the file was removed or replaced; a file that was cut short is whole again. Its result tells
 * nothing (the upper half of the stamp; 0 when the file cannot be mapped, which is logged at LOG_WARNING). A file is
 * created with mode 0640; a longer file is used as it is, but readers refuse it. Mapping a file invalidates the image:
 * its stamp becomes -1 and its first record zero until the update ends.
 *
 * The view that `get` fills lives until the next update and is not released; 0, and a zeroed view, while the file is
 * not mapped. `destroy` frees the object alone: mapping and descriptor stay open until the process ends, so an object
 * lives as long as its process. One thread at a time.
 */

/** A writer of "/tmp/.psu_info_cache"; its `get` fills a psu_info_view. @return null without memory */
KVRN_API cache_source* psu_info_cache_new(void);

/**
 * A writer of "/tmp/.output_cache"; its `get` fills an output_view. While get_overload_status() is not 0, an update
 * sheds outputs, the highest number first, until what the others draw is within the limit.
 * @param limit_mw what the outputs may draw together, read at every update; must outlive the object. Null: no shedding.
 * @param word     kept, never used
 * @return null without memory
 */
KVRN_API cache_source* output_cache_new(const int* limit_mw, uintptr_t word);

/* ---- The lock of the processes that switch the DC outputs ---- */

/**
 * A lock between processes: whoever creates the file holds it. Free it with its `destroy`. One object serves one thread
 * of one process.
 *
 * Warning. These habits are part of the contract:
 * - A lock file older than twice the waiting time is taken for a dead holder's and broken. Whoever holds the lock
 * longer than that loses it, and its unlock removes the next holder's file. Breaking is not atomic.
 * - `lock` on a held object counts, but returns 0; it needs one more `unlock`.
 * - `lock` that fails leaves the object as if held: another `lock` returns 0 at once, and `unlock` (or `destroy`)
 *   removes the file of whoever holds the lock.
 * - `call_locked` does not wait. It breaks a lock file that is older than the current second, after 20 ms, so it
 *   excludes only its like, for a second.
 */
typedef struct InterProcessLock InterProcessLock;
struct InterProcessLock {
  void* state; /**< the object's own */
  /**
   * Tries for 10 times the waiting time, every 20 ms; gives up without waiting when the file cannot be created for any
   * other reason than that it exists. A negative waiting time breaks or fails at once.
   * @return non-zero: acquired; 0: not, or held already
   */
  int (*lock)(InterProcessLock* self);
  void (*unlock)(InterProcessLock* self); /**< the last one removes the file; nothing when not held */
  /** Calls a function with the lock held. @return its result; 0 when it was not called */
  int (*call_locked)(InterProcessLock* self, int (*function)(uintptr_t word), uintptr_t word);
  void (*destroy)(InterProcessLock* self); /**< unlocks once and frees the object, not the path */
};

KVRN_STATIC_ASSERT(sizeof(InterProcessLock) == 5 * sizeof(void*), "five members");

/**
 * A lock by any file.
 * @param path   must outlive the object; null gives null
 * @param wait_s waiting time in seconds
 * @return null without memory
 */
KVRN_API InterProcessLock* InterProcessLockNew(const char* path, int64_t wait_s);

/** InterProcessLockNew() by "/tmp/.dc_out_lock" with 10 seconds. */
KVRN_API InterProcessLock* get_dc_output_lock(void);

KVRN_END_DECLS

#endif
