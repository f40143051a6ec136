// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "util/door.hpp"

namespace kvrn {

// The n-th index number of a key, n from 1; -1 when there are fewer or the key is null.
std::int32_t index_number(const char* key, int n) KVRN_INNER(index_number);

}  // namespace kvrn
