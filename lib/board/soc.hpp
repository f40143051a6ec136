// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "util/door.hpp"

namespace kvrn {

// SoC family code by what the kernel says of the CPU; asked anew at every call.
std::uint32_t detect_soc();

// The SoC's revision register; (uint32_t)-2 when memory cannot be opened, -1 when it cannot be mapped.
std::uint32_t cpu_revision() KVRN_INNER(cpu_revision);

}  // namespace kvrn
