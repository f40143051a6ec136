/* SPDX-License-Identifier: MIT */
/**
 * @file cfg.h  The device configuration: parse, query, edit, compare, protect, save.
 *
 * A configuration is a chain of records, and its handle is the pointer to the first one; null is the empty
 * configuration. The running device's file is "/tmp/system.cfg"; the functions read or write no file but the one they
 * are given. docs/configuration.md describes the file.
 *
 * Order. The first record is the first line of the file, the following ones are the other lines from the last to the
 * second. Result lists keep the same habit: the first match, then the others from the last to the second.
 *
 * Keys. "Equal" means the natural order's equality: letters of both cases are equal and numbers compare by value
 * ("a.01" equals "a.1"). A prefix is compared byte for byte. A pattern is a printf format with its arguments; the text
 * is cut to 255 characters unless said otherwise. A text that cannot be formatted (or a null format) matches nothing.
 * Duplicate keys are kept; a lookup finds the first in the chain.
 *
 * Result lists. Their records point to the keys and values of the configuration that they were built from; only the
 * records (and escaped copies made on them) are the list's own. Free a list with free_cfg_it() before its
 * configuration is freed. Adding entries leaves a list valid. Deleting an entry, giving it a new value, or renumbering
 * leaves the list's pointers to the old texts dangling: such a list may then only be freed. Wherever a function takes a
 * chain to look into, a result list serves as well; the editing functions (update_value(), add_str_value(),
 * add_int_value(), cfg_del_key(), fix_cfg_idx(), save_cfg() aside) take a configuration only.
 *
 * Keys, values, escaped copies and records are blocks of malloc(): a caller may build and free its own.
 *
 * Threads. Different configurations may be used from different threads; one configuration, with all its lists, from
 * one thread at a time. Everything that seals a password (save_cfg(), crypt_cfg(), adv_vento_cfg_encrypt()) uses static
 * buffers and rand(): one thread at a time in the whole process.
 *
 * Without memory, a record that cannot be allocated is left out and nothing is logged.
 */
#ifndef KVRN_CFG_H
#define KVRN_CFG_H

#include <kvrn/export.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

/** Lets the compiler check the arguments of a key pattern. */
#define KVRN_PATTERN_ARGS(pattern, first) __attribute__((format(printf, pattern, first)))

KVRN_BEGIN_DECLS

/** A configuration's entry, or a result list's record. */
typedef struct cfg_entry {
  char* key;              /**< never null; may be empty */
  char* value;            /**< null once cleared by update_value(); in a diff: the key was removed */
  char* escaped;          /**< cache of esc_value(); null until asked, `value` itself when nothing is to be escaped */
  struct cfg_entry* next; /**< null at the end */
} cfg_entry;

KVRN_STATIC_ASSERT(sizeof(void*) != 4 || sizeof(cfg_entry) == 16, "a record on the 32-bit target");
KVRN_STATIC_ASSERT(offsetof(cfg_entry, next) == 3 * sizeof(void*), "cfg_entry.next");

/* ---- Files ---- */

/**
 * Reads "key=value" lines up to the end of the stream, which stays open. Lines that begin with "#", a line feed or a
 * carriage return, and lines without "=", are skipped. Keys lose blanks and unprintable bytes at both ends, values only
 * unprintable bytes. Protected passwords are opened. At most 1024 characters are taken as one line: a longer line is
 * split, and each piece is a line of its own.
 * @return the configuration, free it with free_cfg(); null for a null stream or when there is nothing usable
 */
KVRN_API cfg_entry* parse_stream(FILE* stream);

/** parse_stream() of the file at a path; null also when it cannot be opened and when it is no regular file. */
KVRN_API cfg_entry* parse(const char* path);

/** Frees a configuration: its records, keys, values and escaped copies. Null is accepted. */
KVRN_API void free_cfg(cfg_entry* cfg);

/** Writes "key=value" lines to standard output in chain order, passwords in plain; a null value is empty. */
KVRN_API void print_cfg(const cfg_entry* cfg);

/**
 * Rewrites the file in place, in chain order, with user passwords protected. The file is truncated first and keeps its
 * mode and owner; there is no temporary file and no flush to disk. The null configuration writes an empty file.
 * Not thread-safe.
 * @return 0, also when writing fails later on (a full disk); -1 when the path cannot be opened for writing, or is a
 * FIFO or a disk
 */
KVRN_API int save_cfg(const cfg_entry* cfg, const char* path);

/* ---- Protected passwords ---- */

/**
 * Reads one file and writes it to another (or to the same), like parse() and save_cfg(). Not thread-safe.
 * @param protect 0 writes every password in plain, any other value protects them
 * @return 0; -1 when the input has no usable line or cannot be read to its end (the output is not touched), or the
 *   output cannot be opened
 */
KVRN_API int crypt_cfg(const char* input, const char* output, int protect);

/**
 * Seals one line: when the key begins with "users." and ends with ".password", points both at the protected forms.
 * These live in two static buffers until the next call. Left alone are other keys, keys above 513 characters and values
 * above 478 characters. Salt and nonce come from rand(), which is not seeded here. Not thread-safe.
 * @param key, value addresses of the pointers; null pointers are left alone
 */
KVRN_API void adv_vento_cfg_encrypt(const char** key, const char** value);

/**
 * Opens a protected entry: when its key begins with "~META~" and the value checks out, key and value are replaced by
 * the plain ones and the old ones freed. Everything else is left as it is: another key, a value that is no sealed blob
 * or whose tag differs, a key or value above 680 characters, no memory. A separate escaped copy stays as it is.
 */
KVRN_API void adv_vento_cfg_decrypt_entry(cfg_entry* entry);

/* ---- Lists ---- */

/**
 * The entries that match a pattern.
 * @param exact 0: the key begins with the pattern; otherwise the key equals it
 * @return a result list; null if there is none
 */
KVRN_API cfg_entry* get_cfg_it(const cfg_entry* cfg, int exact, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/**
 * The entries whose key is prefix + middle + suffix, sorted by key. The middle is not empty. The suffix is compared by
 * natural equality.
 * @param mode  1: the middle is one component, the suffix begins with its "."; otherwise anything may stand between
 * @param value when not null, only entries with this very value
 * @return a result list; null if there is none
 */
KVRN_API cfg_entry* get_cfg_any_section(const cfg_entry* cfg, const char* suffix, int mode, const char* value,
                                        const char* prefix, ...) KVRN_PATTERN_ARGS(5, 6);

/** get_cfg_any_section() with mode 1. */
KVRN_API cfg_entry* get_cfg_section(const cfg_entry* cfg, const char* suffix, const char* value, const char* prefix,
                                    ...) KVRN_PATTERN_ARGS(4, 5);

/**
 * Links the records of a configuration or list anew in key order; equal keys keep their order.
 * @return the new first record
 */
KVRN_API cfg_entry* sort_cfg(cfg_entry* first);

/** The number of records of a chain; 0 for null. */
KVRN_API int get_cfg_count(const cfg_entry* first);

/** Frees a result list, never keys or values. Null is accepted. */
KVRN_API void free_cfg_it(cfg_entry* first);

/** Unlinks one record from a result list and frees it; nothing happens when it is not in the list. */
KVRN_API void free_cfg_it_member(cfg_entry** first, cfg_entry* record);

/** 1 when an entry matches as in get_cfg_it(), else 0. */
KVRN_API int exist_cfg_it(const cfg_entry* cfg, int exact, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/* ---- Values ---- */

/**
 * The value of the first record whose key equals the pattern, owned by the configuration.
 * @return the value, which is null for a cleared entry; `fallback` itself when there is no such key
 */
KVRN_API const char* get_value(const cfg_entry* cfg, const char* fallback, const char* pattern, ...)
    KVRN_PATTERN_ARGS(3, 4);

/** As get_value(), escaped: see esc_value(). The fallback is returned as it is. */
KVRN_API const char* get_esc_value(cfg_entry* cfg, const char* fallback, const char* pattern, ...)
    KVRN_PATTERN_ARGS(3, 4);

/**
 * The value for use inside double quotes of a shell command: a backslash before each back-quote, backslash, double
 * quote and dollar sign. Kept in the record, whose owner frees it; only update_value() forgets it.
 * @return the value itself when nothing is to be escaped; null for a null record or value, or without memory
 */
KVRN_API const char* esc_value(cfg_entry* record);

/**
 * The value as a number. White space before it and text behind it are allowed ("12abc" is 12). "0x" means hexadecimal
 * and a leading "0" octal.
 * @return the number; the fallback when there is no such key, no value, no number, or a number beyond 32 bits, on
 * every host
 */
KVRN_API int32_t get_int32(const cfg_entry* cfg, int32_t fallback, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/** As get_int32(), without a sign: a minus negates modulo 2^32. */
KVRN_API uint32_t get_uint32(const cfg_entry* cfg, uint32_t fallback, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/** As get_int32(), but decimal always: "010" is 10, and "0x1f" is 0. */
KVRN_API int32_t get_int32_dec(const cfg_entry* cfg, int32_t fallback, const char* pattern, ...)
    KVRN_PATTERN_ARGS(3, 4);

/** As get_int32(), with 64 bits. */
KVRN_API int64_t get_int64(const cfg_entry* cfg, int64_t fallback, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/**
 * The value as a switch.
 * @return 1 for "on", "enabled", "1", "enable", "active", "true"; 0 for "off", "disabled", "0", "disable", "inactive",
 * "false", in either case and with blanks around; the fallback for anything else, and without the key
 */
KVRN_API int get_bool(const cfg_entry* cfg, int fallback, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/* ---- Edits ---- */

/**
 * Gives every entry whose key equals the pattern a copy of the value without unprintable bytes at its ends, or clears
 * it. A missing key is appended at the tail, but not to the empty configuration. The value may be a text of the
 * configuration itself.
 * @param value null clears: the entry stays, its value is null
 * @return 0 changed; -1 cleared, or no memory for the new value (the old one stays); 1 not found (and appended), or
 *         nothing to clear
 */
KVRN_API int update_value(cfg_entry* cfg, const char* value, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/**
 * Appends an entry at the tail, whether the key exists or not; the pattern has no limit of length. The new entry's
 * texts are stored as given; those of the entry that was the tail before are trimmed as if read from a file (its
 * escaped copy stays).
 * @return 0, also for the empty configuration, to which nothing can be added; -1 without memory or for a null value
 */
KVRN_API int add_str_value(cfg_entry* cfg, const char* value, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/** add_str_value() with the number in decimal. @return as add_str_value() */
KVRN_API int add_int_value(cfg_entry* cfg, int value, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/**
 * Deletes and frees every entry that matches as in get_cfg_it(); the pattern is cut to 256 characters.
 * @param cfg address of the pointer to the first entry, which changes when that entry goes
 * @return the number of entries deleted
 */
KVRN_API int cfg_del_key(cfg_entry** cfg, int exact, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/**
 * What changed between two configurations, the latest found first: entries of `changed` whose key is new or has another
 * value, then keys of `old` that are gone, with a null value. Keys whose last component is "comment" are left out.
 * Each entry is compared with the first of its key in the other configuration, so that a duplicate with a value of its
 * own counts as changed. Keys above 255 characters are looked up by their first 255.
 * @return a result list that points into both configurations
 */
KVRN_API cfg_entry* get_cfg_diff_it(const cfg_entry* old, const cfg_entry* changed);

/* ---- Index numbers in keys, such as the 3 of "netconf.3.devname" ---- */

/**
 * The n-th index number of a key. A component after a "." that begins with a number other than 0 is an index, in the
 * base that it is written in ("0x1f", "010" is 8); what does not fit 32 bits is none.
 * @param n from 1
 * @return the index, which may be negative; -1 when there are fewer or the key is null
 */
KVRN_API int32_t get_cfg_key_idx(const char* key, int n);

/**
 * The index i of the first entry in the prefix list for which "<prefix>i.devname" is the device name; -1 if none.
 * @param prefix a text, not a format: "netconf." finds an interface
 */
KVRN_API int32_t get_cfg_idx_by_devname(const cfg_entry* cfg, const char* prefix, const char* devname);

/**
 * Closes the gaps in the n-th index of all keys with a prefix: the groups are numbered 1, 2, 3, ... in key order. The
 * whole component becomes the number ("3abc" becomes "1"). A key that ends with its index is counted but not renamed.
 * @param n from 1; the pattern's arguments follow it
 */
KVRN_API void fix_cfg_idx(cfg_entry* cfg, const char* prefix, int n, ...) KVRN_PATTERN_ARGS(2, 4);

KVRN_END_DECLS

#endif
