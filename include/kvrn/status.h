/* SPDX-License-Identifier: MIT */
/** @file status.h  States derived from the device configuration. */
#ifndef KVRN_STATUS_H
#define KVRN_STATUS_H

#include <kvrn/cfg.h>
#include <kvrn/export.h>

KVRN_BEGIN_DECLS

/**
 * The interface that carries the traffic of a configured one: an enabled bridge answers with its lowest-numbered port
 * ("bridge.<b>.port.<p>.devname"), any other name with itself. The bridge is found by its escaped device name, and the
 * port's name is escaped too. No file is read. As thread-safe as the configuration.
 * @param cfg         a parsed configuration, which stays the caller's
 * @param name        device name to look up; null gives an empty result
 * @param destination at least 16 bytes; all 16 are written, zeros behind the name. A name of 16 characters or more is
 *                    cut and not terminated. Null is ignored.
 * @param unused      has no effect
 */
KVRN_API void getRuntimeInterface(const cfg_entry* cfg, const char* name, char* destination, int unused);

KVRN_END_DECLS

#endif
