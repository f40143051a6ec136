/* SPDX-License-Identifier: MIT */
/**
 * @file cfg.h  The device configuration: parse, query, edit, compare, protect, save.
 *
 * A configuration is a chain of records. Its handle is the pointer to the first record; null is the empty
 * configuration. The file of the running device is "/tmp/system.cfg". The functions read or write only the file that
 * they are given. docs/configuration.md describes the file.
 *
 * Order. The first record is the first line of the file. The other records are the remaining lines in reverse order,
 * from the last line to the second. Result lists have the same kind of order: the first match, then the other matches
 * from the last to the second.
 *
 * Keys. Two keys are "equal" when the natural order treats them as equal: it ignores the case of letters and compares
 * numbers by value ("a.01" equals "a.1"). A prefix is compared byte for byte. A pattern is a printf format with its
 * arguments. Its text is truncated to 255 characters unless a function says otherwise. A null format, or a text that
 * cannot be formatted, matches nothing. Duplicate keys are kept; a lookup finds the first one in the chain.
 *
 * Result lists. The records of a list point to the keys and values of the configuration from which the list was built.
 * The list owns only its records and the escaped copies in them. Free a list with free_cfg_it() before you free its
 * configuration. A list stays valid when entries are added. After an entry is deleted, renumbered or gets a new value,
 * the pointers to the old texts in the list dangle: then only free the list. A function that searches a chain also
 * accepts a result list. The editing functions (update_value(), add_str_value(), add_int_value(), cfg_del_key(),
 * fix_cfg_idx()) accept only a configuration.
 *
 * Keys, values, escaped copies and records are malloc() blocks: a caller may create and free its own.
 *
 * Threads. Different threads may use different configurations. Only one thread at a time may use a configuration and
 * its lists. The functions that seal a password (save_cfg(), crypt_cfg(), adv_vento_cfg_encrypt()) use static buffers
 * and rand(): only one thread in the whole process may call them at a time.
 *
 * Memory. A record that cannot be allocated is left out without a message.
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

/** An entry of a configuration, or a record of a result list. */
typedef struct cfg_entry {
  char* key;              /**< never null; may be empty */
  char* value;            /**< null after update_value() cleared it; in a diff: the key was removed */
  char* escaped;          /**< cache of esc_value(): null before its first call; `value` if nothing is to be escaped */
  struct cfg_entry* next; /**< null at the end */
} cfg_entry;

KVRN_STATIC_ASSERT(sizeof(void*) != 4 || sizeof(cfg_entry) == 16, "a record on the 32-bit target");
KVRN_STATIC_ASSERT(offsetof(cfg_entry, next) == 3 * sizeof(void*), "cfg_entry.next");

/* ---- Files ---- */

/**
 * Reads "key=value" lines up to the end of the stream. The stream stays open. Lines that begin with "#", a line feed or
 * a carriage return, and lines without "=", are skipped. Blanks and unprintable bytes are removed at both ends of a
 * key, only unprintable bytes at both ends of a value. Protected passwords are opened. A line has at most 1024
 * characters: a longer line is split, and each piece counts as a line.
 * @return the configuration, free it with free_cfg(); null for a null stream, or when the stream has no usable line
 */
KVRN_API cfg_entry* parse_stream(FILE* stream);

/** parse_stream() for the file at a path. Also null when the file cannot be opened, or is not a regular file. */
KVRN_API cfg_entry* parse(const char* path);

/** Frees a configuration: its records, keys, values and escaped copies. Null is accepted. */
KVRN_API void free_cfg(cfg_entry* cfg);

/**
 * Writes "key=value" lines to standard output in chain order, with passwords in plain text. A null value is written as
 * an empty one.
 */
KVRN_API void print_cfg(const cfg_entry* cfg);

/**
 * Rewrites the file in place, in chain order, with user passwords protected. The file is truncated first. It keeps its
 * mode and owner. There is no temporary file and no flush to disk. The null configuration writes an empty file. Not
 * thread-safe.
 * @return 0, even when a later write fails (for example on a full disk); -1 when the path cannot be opened for writing,
 *         or is a FIFO or a disk
 */
KVRN_API int save_cfg(const cfg_entry* cfg, const char* path);

/* ---- Protected passwords ---- */

/**
 * Reads a file like parse() and writes it like save_cfg(), to another file or to the same file. Not thread-safe.
 * @param protect 0 writes every password in plain text; any other value protects the passwords
 * @return 0; -1 when the input has no usable line or cannot be read to its end (the output is then unchanged), or when
 *         the output cannot be opened
 */
KVRN_API int crypt_cfg(const char* input, const char* output, int protect);

/**
 * Seals one line: when the key begins with "users." and ends with ".password", both pointers are set to the protected
 * texts. These texts are in two static buffers and valid until the next call. Other keys, keys longer than 513
 * characters and values longer than 478 characters are not changed. Salt and nonce come from rand(), which the library
 * does not seed. Not thread-safe.
 * @param key, value addresses of the pointers; null pointers are not changed
 */
KVRN_API void adv_vento_cfg_encrypt(const char** key, const char** value);

/**
 * Opens a protected entry. When the key begins with "~META~" and the tag of the value is right, the plain key and value
 * replace the protected ones, and the old texts are freed. In every other case the entry stays unchanged: another key,
 * a value that is not a sealed blob or has a wrong tag, a key or value longer than 680 characters, no memory. A
 * separate escaped copy stays unchanged in every case.
 */
KVRN_API void adv_vento_cfg_decrypt_entry(cfg_entry* entry);

/* ---- Lists ---- */

/**
 * Finds the entries that match a pattern.
 * @param exact 0: the key begins with the pattern; any other value: the key equals the pattern
 * @return a result list; null when there is no match
 */
KVRN_API cfg_entry* get_cfg_it(const cfg_entry* cfg, int exact, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/**
 * Finds the entries whose key is prefix + middle + suffix, sorted by key. The middle is never empty. The suffix is
 * compared like a key: see "equal" above.
 * @param mode  1: the middle is one component, and the suffix begins with "."; any other value: the middle is any text
 * @param value when not null: only entries with exactly this value
 * @return a result list; null when there is no match
 */
KVRN_API cfg_entry* get_cfg_any_section(const cfg_entry* cfg, const char* suffix, int mode, const char* value,
                                        const char* prefix, ...) KVRN_PATTERN_ARGS(5, 6);

/** get_cfg_any_section() with mode 1. */
KVRN_API cfg_entry* get_cfg_section(const cfg_entry* cfg, const char* suffix, const char* value, const char* prefix,
                                    ...) KVRN_PATTERN_ARGS(4, 5);

/**
 * Sorts the records of a configuration or list by key. Equal keys keep their order. Only the links change.
 * @return the new first record
 */
KVRN_API cfg_entry* sort_cfg(cfg_entry* first);

/** The number of records in a chain; 0 for null. */
KVRN_API int get_cfg_count(const cfg_entry* first);

/** Frees a result list, but not its keys and values. Null is accepted. */
KVRN_API void free_cfg_it(cfg_entry* first);

/** Removes one record from a result list and frees it. Does nothing when the record is not in the list. */
KVRN_API void free_cfg_it_member(cfg_entry** first, cfg_entry* record);

/** Whether an entry matches, as in get_cfg_it(). @return 1 or 0 */
KVRN_API int exist_cfg_it(const cfg_entry* cfg, int exact, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/* ---- Values ---- */

/**
 * The value of the first record whose key equals the pattern. The configuration owns the value.
 * @return the value, which is null for a cleared entry; `fallback` itself when there is no such key
 */
KVRN_API const char* get_value(const cfg_entry* cfg, const char* fallback, const char* pattern, ...)
    KVRN_PATTERN_ARGS(3, 4);

/** Like get_value(), but escaped: see esc_value(). The fallback is not escaped. */
KVRN_API const char* get_esc_value(cfg_entry* cfg, const char* fallback, const char* pattern, ...)
    KVRN_PATTERN_ARGS(3, 4);

/**
 * The value for use inside double quotes in a shell command: each back-quote, backslash, double quote and dollar sign
 * gets a backslash in front. The record keeps the escaped text, and the owner of the record frees it. Only
 * update_value() removes it from the record.
 * @return the value itself when there is nothing to escape; null for a null record or value, or when out of memory
 */
KVRN_API const char* esc_value(cfg_entry* record);

/**
 * The value as a number. White space in front and text behind the number are allowed ("12abc" is 12). "0x" means
 * hexadecimal, and a leading "0" means octal.
 * @return the number; the fallback when there is no such key, no value or no number, or when the number does not fit 32
 *         bits (on every host)
 */
KVRN_API int32_t get_int32(const cfg_entry* cfg, int32_t fallback, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/** Like get_int32(), but unsigned: a minus sign negates modulo 2^32. */
KVRN_API uint32_t get_uint32(const cfg_entry* cfg, uint32_t fallback, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/** Like get_int32(), but always decimal: "010" is 10, and "0x1f" is 0. */
KVRN_API int32_t get_int32_dec(const cfg_entry* cfg, int32_t fallback, const char* pattern, ...)
    KVRN_PATTERN_ARGS(3, 4);

/** Like get_int32(), but with 64 bits. */
KVRN_API int64_t get_int64(const cfg_entry* cfg, int64_t fallback, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/**
 * The value as a switch. The case of letters and blanks at both ends are ignored.
 * @return 1 for "on", "enabled", "1", "enable", "active", "true"; 0 for "off", "disabled", "0", "disable", "inactive",
 *         "false"; the fallback for any other text, or when there is no such key
 */
KVRN_API int get_bool(const cfg_entry* cfg, int fallback, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/* ---- Edits ---- */

/**
 * Sets or clears the value of every entry whose key equals the pattern. Unprintable bytes at both ends of the new value
 * are removed. A missing key is added at the tail, but not to the empty configuration. The value may be a text of the
 * configuration itself.
 * @param value null clears: the entry stays, and its value becomes null
 * @return 0 changed; -1 cleared, or out of memory (the old value stays); 1 not found (the entry was added), or nothing
 *         to clear
 */
KVRN_API int update_value(cfg_entry* cfg, const char* value, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/**
 * Adds an entry at the tail, even when the key already exists. The length of the pattern is not limited. The texts of
 * the new entry are stored unchanged. Trap: the texts of the entry that was the tail before are trimmed as if they were
 * read from a file. The escaped copy of that entry stays unchanged.
 * @return 0, also for the empty configuration, to which nothing can be added; -1 when out of memory or for a null value
 */
KVRN_API int add_str_value(cfg_entry* cfg, const char* value, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/** add_str_value() for a number, which is written in decimal. @return as add_str_value() */
KVRN_API int add_int_value(cfg_entry* cfg, int value, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/**
 * Deletes and frees every entry that matches, as in get_cfg_it(). The text of the pattern is truncated to 256
 * characters.
 * @param cfg address of the pointer to the first entry. The pointer changes when the first entry is deleted.
 * @return the number of deleted entries
 */
KVRN_API int cfg_del_key(cfg_entry** cfg, int exact, const char* pattern, ...) KVRN_PATTERN_ARGS(3, 4);

/**
 * Lists what changed between two configurations. The entry found last is the first in the list. The search first finds
 * entries of `changed` whose key is new or has another value, then keys of `old` that are missing in `changed`; these
 * have a null value. Keys whose last component is "comment" are left out. Each entry is compared with the first entry
 * of the same key in the other configuration. A duplicate with a different value therefore counts as changed. Keys
 * longer than 255 characters are looked up by their first 255 characters.
 * @return a result list that points into both configurations
 */
KVRN_API cfg_entry* get_cfg_diff_it(const cfg_entry* old, const cfg_entry* changed);

/* ---- Index numbers in keys, such as the 3 of "netconf.3.devname" ---- */

/**
 * The n-th index number of a key. A component after a "." is an index when it begins with a number other than 0. The
 * number may be hexadecimal or octal ("0x1f", "010" is 8). A number that does not fit 32 bits is no index.
 * @param n from 1
 * @return the index, which may be negative; -1 when the key has fewer indexes or is null
 */
KVRN_API int32_t get_cfg_key_idx(const char* key, int n);

/**
 * Finds the index of a device name: the i of the first entry with the prefix for which "<prefix>i.devname" is the
 * device name.
 * @param prefix a text, not a format: "netconf." finds an interface
 * @return the index; -1 when there is none
 */
KVRN_API int32_t get_cfg_idx_by_devname(const cfg_entry* cfg, const char* prefix, const char* devname);

/**
 * Closes the gaps in the n-th index of all keys with a prefix: the groups get the numbers 1, 2, 3, ... in key order.
 * The number replaces the whole component ("3abc" becomes "1"). A key that ends with the index is counted, but not
 * renamed.
 * @param n from 1; the arguments of the pattern follow it
 */
KVRN_API void fix_cfg_idx(cfg_entry* cfg, const char* prefix, int n, ...) KVRN_PATTERN_ARGS(2, 4);

KVRN_END_DECLS

#endif
