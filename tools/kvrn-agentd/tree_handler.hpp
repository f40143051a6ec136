// SPDX-License-Identifier: MIT
// Answers requests for a tree from a table. Both roles register this handler with net-snmp.
#pragma once

#include <functional>
#include <span>

#include "tools/kvrn-agentd/refresher.hpp"

namespace agentd {

using Tables = std::function<TablePtr()>;

// net-snmp's priority for a registration. Of two registrations of a tree, the one with the lower number answers.
inline constexpr int usual_priority = 127;

// Registers a tree with net-snmp's agent. `tables` must stay valid as long as the agent runs.
// @return whether net-snmp accepted the registration
bool serve(std::span<const snmp_host::Arc> root, Tables& tables, int priority = usual_priority);

}  // namespace agentd
