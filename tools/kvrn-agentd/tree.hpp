// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

namespace agentd {

// What the agent serves, whatever the module would add beside it.
inline constexpr std::array<std::uint32_t, 7> tree_root{1, 3, 6, 1, 4, 1, 47474};

}  // namespace agentd
