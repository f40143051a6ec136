// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/snmp.h>

#include <string>

namespace agentd {

// Loads a library, for good, and finds the module's descriptor in it. @return null, with the reason in `why`: no such
// library, no descriptor, or one of another shape
const kvrn_snmp_module* load_module(const std::string& library, std::string& why);

}  // namespace agentd
