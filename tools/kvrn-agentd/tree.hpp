// SPDX-License-Identifier: MIT
#pragma once

#include <array>

#include "tools/snmp/object_table.hpp"

namespace agentd {

// The root of the tree that the agent serves. It serves no objects outside this tree, even if the module adds some.
inline constexpr std::array<snmp_host::Arc, 7> tree_root{1, 3, 6, 1, 4, 1, 47474};

}  // namespace agentd
