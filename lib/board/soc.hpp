// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "util/door.hpp"

namespace kvrn {

// The SoC family code, from what the kernel reports about the CPU. Every call reads it again.
std::uint32_t detect_soc();

// The revision register of the SoC; (uint32_t)-2 when /dev/mem cannot be opened, (uint32_t)-1 when it cannot be mapped.
std::uint32_t cpu_revision() KVRN_INNER(cpu_revision);

}  // namespace kvrn
