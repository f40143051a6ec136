// SPDX-License-Identifier: MIT
#pragma once

// net-snmp's headers need this order.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include "tools/snmp/object_table.hpp"

namespace agentd {

// Gives a variable the type and the value of an object. @return 0, or another number when there is no memory
int set_value(netsnmp_variable_list& variable, const snmp_host::Object& object);

}  // namespace agentd
