// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kvrn-agentd/standing.hpp"

namespace agentd {

// Gives a notification to net-snmp: the objects of the row, then the text. net-snmp sends it to the master agent, or to
// the sinks when this program is the master. Only the thread that serves may call this. @return false without memory;
// net-snmp does not report whether the notification arrived
bool send(const Change& change);

}  // namespace agentd
