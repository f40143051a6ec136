/* SPDX-License-Identifier: MIT */
/** @file export.h  What every public header needs: symbol visibility and the macros for C linkage. */
#ifndef KVRN_EXPORT_H
#define KVRN_EXPORT_H

#include <stdint.h>

/** Marks a symbol of the library's interface. Every other symbol is hidden. */
#define KVRN_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define KVRN_BEGIN_DECLS extern "C" {
#define KVRN_END_DECLS }
#define KVRN_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define KVRN_BEGIN_DECLS
#define KVRN_END_DECLS
#define KVRN_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

#endif
