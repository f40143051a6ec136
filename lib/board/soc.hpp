// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace kvrn {

// SoC family code by what the kernel says of the CPU; asked anew at every call.
std::uint32_t detect_soc();

}  // namespace kvrn
