// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/snmp.h>

#include <string>

namespace agentd {

// Loads a library, which stays loaded, and finds the module's descriptor in it. @return null, with the reason in `why`,
// when there is no such library, no descriptor, or a descriptor of another structure
const kvrn_snmp_module* load_module(const std::string& library, std::string& why);

}  // namespace agentd
