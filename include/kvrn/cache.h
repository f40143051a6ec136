/* SPDX-License-Identifier: MIT */
/**
 * @file cache.h  The status caches: readings that one monitoring process shares with every other through mapped files.
 *
 * An image is fixed in size and big-endian; its last 8 bytes are the monotonic time in seconds of the last refresh,
 * -1 when it was not refreshed since its writer mapped it. No lock protects it: a reader may meet a record in the
 * middle of a copy.
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
enum output_state {
  OUTPUT_NORMAL = 0, /**< on, drawing at least 900000 uW, no overload */
  OUTPUT_SHED = 1,   /**< dropped: low voltage, insufficient power, or shed for overload */
  OUTPUT_OVERLOAD = 2,
  OUTPUT_PROTECTED = 3, /**< hardware protection, or overload flag 2 */
  OUTPUT_IDLE = 4,      /**< on, drawing less than 900000 uW */
  OUTPUT_CONFIGURED_OFF = 5
};

/** One DC output, 24 bytes, big-endian. */
typedef struct output_status {
  kvrn_be_i32 voltage_mv;
  kvrn_be_i32 current_ma;
  kvrn_be_i32 power_uw;  /**< below 100000 is stored as 0 */
  kvrn_be_i32 enabled;   /**< 1: switched on and not stopped by its protection */
  kvrn_be_i32 max_power; /**< 0 in the cache */
  kvrn_be_i32 state;     /**< enum output_state */
} output_status;

KVRN_STATIC_ASSERT(sizeof(output_status) == 24, "an output record is 24 bytes");
KVRN_STATIC_ASSERT(offsetof(output_status, enabled) == 12, "output_status.enabled");
KVRN_STATIC_ASSERT(offsetof(output_status, state) == 20, "output_status.state");

/** "/tmp/.output_cache", 80 bytes. */
typedef struct output_image {
  output_status records[KVRN_OUTPUT_MAX];
  kvrn_be_i64 stamp;
} output_image;

KVRN_STATIC_ASSERT(sizeof(output_image) == 80, "the output cache is 80 bytes");
KVRN_STATIC_ASSERT(offsetof(output_image, stamp) == 72, "output_image.stamp");

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
 * size, or one that cannot be mapped, is logged at LOG_INFO ("PSU cache: ...").
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

KVRN_END_DECLS

#endif
