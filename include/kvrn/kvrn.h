/* SPDX-License-Identifier: MIT */
/** @file kvrn.h  Includes every C header of the library. */
#ifndef KVRN_KVRN_H
#define KVRN_KVRN_H

#include <kvrn/battery.h>
#include <kvrn/board.h>
#include <kvrn/bytes.h>
#include <kvrn/cache.h>
#include <kvrn/cfg.h>
#include <kvrn/hw.h>
#include <kvrn/observe.h>
#include <kvrn/psu.h>
#include <kvrn/snmp.h>
#include <kvrn/status.h>
#include <kvrn/util.h>

#endif
