// SPDX-License-Identifier: MIT
// The groups system and snmp of SNMPv2-MIB. net-snmp has them in a library of its own, which is not linked: on the
// device it needs more flash than the rest of this program, and these groups need little of it.
#pragma once

namespace agentd {

// Adds the words sysDescr, sysContact, sysName and sysLocation to those of the configuration file. Must be called
// before net-snmp reads the file.
void add_system_words();

// @return whether net-snmp accepted the groups
bool serve_system_groups();

}  // namespace agentd
