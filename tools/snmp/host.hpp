// SPDX-License-Identifier: MIT
// The module's host: the four functions that the library imports are defined beside this. The context is an
// ObjectTable. One thread at a time.
#pragma once

#include <string>

#include "tools/snmp/object_table.hpp"

namespace snmp_host {

// Runs an update into a table. @return what the module returned; not 0: `error` says why
int update(const kvrn_snmp_module& module, ObjectTable& table, std::string& error);

}  // namespace snmp_host
