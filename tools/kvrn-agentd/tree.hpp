// SPDX-License-Identifier: MIT
#pragma once

#include <array>

#include "tools/snmp/object_table.hpp"

namespace agentd {

// What the agent serves, whatever the module would add beside it.
inline constexpr std::array<snmp_host::Arc, 7> tree_root{1, 3, 6, 1, 4, 1, 47474};

}  // namespace agentd
