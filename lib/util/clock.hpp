// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "util/door.hpp"

namespace kvrn {

// The monotonic clock in seconds; see get_timestamp_mono().
std::int64_t monotonic_s() KVRN_INNER(monotonic_s);

}  // namespace kvrn
