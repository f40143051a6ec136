// SPDX-License-Identifier: MIT
// The module's host. The source file also defines the four functions that the library imports. Their context is an
// ObjectTable. Only one thread at a time may use the host.
#pragma once

#include <string>

#include "tools/snmp/object_table.hpp"

namespace snmp_host {

// Runs one update, which fills the table. @return the module's result; unless it is 0, `error` gives the reason
int update(const kvrn_snmp_module& module, ObjectTable& table, std::string& error);

}  // namespace snmp_host
