// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/cfg.h>

#include "util/door.hpp"

namespace kvrn {

// The value of a record, or null, for a shell command's double quotes, kept in the record; see esc_value().
const char* escaped(cfg_entry* record) KVRN_INNER(escaped);

}  // namespace kvrn
