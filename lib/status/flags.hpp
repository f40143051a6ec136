// SPDX-License-Identifier: MIT
// The flag files by which processes share alarms and states: one file a flag under /tmp, one "%d" integer in it.
#pragma once

#include <kvrn/observe.h>

#include "util/text.hpp"

namespace kvrn {

// Whether and how the index of an output, a request or a PSU is part of the file's name. Within: between the base
// and "_active".
enum class Indexed { no, appended, underscored, within };

struct Flag {
  const char* base;
  Indexed indexed;
  int absent;   // value of a missing file
  int garbage;  // value of a file that holds no integer
  kvrn_subject subject;
  kvrn_fact fact;
};

namespace flags {
inline constexpr Flag overload{"/tmp/.overload_check", Indexed::no, 0, 0, KVRN_SUBJECT_DEVICE, KVRN_FACT_OVERLOAD};
inline constexpr Flag overload_port{"/tmp/.overload_check", Indexed::underscored, 0, 0,
                                    KVRN_SUBJECT_OUTPUT,    KVRN_FACT_OVERLOAD};
inline constexpr Flag overload_request{"/tmp/.overload_req", Indexed::appended,         1, 1,
                                       KVRN_SUBJECT_DEVICE,  KVRN_FACT_OVERLOAD_REQUEST};
inline constexpr Flag insufficient_power{"/tmp/.overload_charging",   Indexed::no, 0, 0, KVRN_SUBJECT_DEVICE,
                                         KVRN_FACT_INSUFFICIENT_POWER};
inline constexpr Flag hw_protect{"/tmp/.dc-problem",  Indexed::appended,   0, 0,
                                 KVRN_SUBJECT_OUTPUT, KVRN_FACT_PROTECTION};
inline constexpr Flag ac_outage{"/tmp/.ac_outage_check", Indexed::no,           0, 0,
                                KVRN_SUBJECT_DEVICE,     KVRN_FACT_MAINS_OUTAGE};
inline constexpr Flag ac_disabled_overload{"/tmp/.ac_outage_overload_check", Indexed::no, 0, 0, KVRN_SUBJECT_DEVICE,
                                           KVRN_FACT_MAINS_OUTAGE_OVERLOAD};
inline constexpr Flag battery_outage{"/tmp/.battery_outage_check", Indexed::no, 0, 0, KVRN_SUBJECT_DEVICE,
                                     KVRN_FACT_BATTERY_OUTAGE};
inline constexpr Flag output_enabled{"/tmp/.dc-enabled",  Indexed::appended,   2, 0,
                                     KVRN_SUBJECT_OUTPUT, KVRN_FACT_CONFIGURED};  // 2 = not configured
inline constexpr Flag low_voltage{"/tmp/.lv", Indexed::within,  0,
                                  0,          KVRN_SUBJECT_PSU, KVRN_FACT_LOW_VOLTAGE};  // -1 = the whole device
}  // namespace flags

using FlagName = Text<64>;
FlagName flag_name(const Flag& flag, int index = 0);

int read_flag(const Flag& flag, int index = 0);

// Rewrites the file in place, as every writer of a flag does. False when it cannot be opened.
bool write_flag(const Flag& flag, int value, int index = 0);

}  // namespace kvrn
