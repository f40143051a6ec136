// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "util/door.hpp"

namespace kvrn {

// The n-th index number of a key, with n from 1; -1 when the key has fewer indexes or is null.
std::int32_t index_number(const char* key, int n) KVRN_INNER(index_number);

}  // namespace kvrn
