// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/cfg.h>

#include "util/door.hpp"

namespace kvrn {

// The value of a record, escaped for double quotes in a shell command and kept in the record; may be null. See
// esc_value().
const char* escaped(cfg_entry* record) KVRN_INNER(escaped);

}  // namespace kvrn
