// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <concepts>
#include <cstddef>

#include "tools/snmp/object_table.hpp"

namespace agentd {

// The root of the tree that the agent serves. It serves no objects outside this tree, even if the module adds some.
inline constexpr std::array<snmp_host::Arc, 7> tree_root{1, 3, 6, 1, 4, 1, 47474};

// A name below the root.
template <std::same_as<unsigned>... Below>
constexpr std::array<snmp_host::Arc, tree_root.size() + sizeof...(Below)> in_tree(Below... below) {
  std::array<snmp_host::Arc, tree_root.size() + sizeof...(Below)> name{};
  std::size_t at = 0;
  for (const snmp_host::Arc arc : tree_root) name[at++] = arc;
  ((name[at++] = below), ...);
  return name;
}

inline constexpr auto psu_count = in_tree(1U, 5U, 3U, 1U, 0U);

}  // namespace agentd
