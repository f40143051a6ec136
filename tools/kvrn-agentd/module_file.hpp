// SPDX-License-Identifier: MIT
// The plug-in: a library that exports a module's descriptor.
#pragma once

#include <kvrn/snmp.h>

#include <string>

namespace agentd {

class ModuleFile {
 public:
  // False, with the reason in `why`: no such library, no descriptor, or one of another shape.
  bool load(const std::string& library, std::string& why);

  const snmp_module& module() const { return *module_; }

 private:
  // Never unloaded: the worker may be in it until the process ends.
  const snmp_module* module_ = nullptr;
};

}  // namespace agentd
