// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/role.hpp"

#include <cstdlib>

namespace agentd {

void set_environment(const std::string& state) {
  for (const char* name : {"MIBS", "MIBDIRS"}) (void)::setenv(name, "", 1);
  // net-snmp looks for settings only in the folder of its persistent file.
  (void)::setenv("SNMPCONFPATH", state.c_str(), 1);
  (void)::setenv("SNMP_PERSISTENT_DIR", state.empty() ? "/dev/null" : state.c_str(), 1);
  // An empty value does not help here: net-snmp would try a file with an empty name.
  for (const char* name : {"MIBFILES", "SNMP_PERSISTENT_FILE"}) (void)::unsetenv(name);
}

}  // namespace agentd
