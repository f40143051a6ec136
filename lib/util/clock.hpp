// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace kvrn {

// The monotonic clock in seconds; see get_timestamp_mono().
std::int64_t monotonic_s();

}  // namespace kvrn
