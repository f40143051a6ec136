// SPDX-License-Identifier: MIT
#pragma once

namespace agentd {

// From now on net-snmp's warnings and errors go to the system log, each text once: net-snmp repeats some for every
// request or notification. At most 100 texts are logged, because a request may contribute to the text.
void log_library();

// net-snmp reports nothing.
void silence_library();

}  // namespace agentd
