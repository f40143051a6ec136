// SPDX-License-Identifier: MIT
// The flag files with which processes share alarms and states. Each flag is one file in /tmp with one "%d" integer.
#pragma once

#include <kvrn/observe.h>

#include "util/text.hpp"

namespace kvrn {

// Whether the index of an output, a request or a PSU is part of the file name, and at which position. `within` means
// between the base and "_active".
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
                                     KVRN_SUBJECT_OUTPUT, KVRN_FACT_CONFIGURED};  // 2 means not configured
inline constexpr Flag low_voltage{"/tmp/.lv",       Indexed::within,      0, 0,
                                  KVRN_SUBJECT_PSU, KVRN_FACT_LOW_VOLTAGE};  // index -1 means the whole device
}  // namespace flags

using FlagName = Text<64>;
FlagName flag_name(const Flag& flag, int index = 0);

int read_flag(const Flag& flag, int index = 0);

// Truncates the file and writes it again, as every writer of a flag does. False when the file cannot be opened.
bool write_flag(const Flag& flag, int value, int index = 0);

}  // namespace kvrn
