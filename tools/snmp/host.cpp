// SPDX-License-Identifier: MIT
#include "tools/snmp/host.hpp"

#include <fmt/format.h>

#include <array>
#include <cstdarg>
#include <cstdio>

namespace snmp_host {
namespace {

// abz_set_error() has no context: the text belongs to the update that runs.
std::string last_error;

}  // namespace

int update(const snmp_module& module, ObjectTable& table, std::string& error) {
  last_error.clear();
  const int result = module.update(&table);
  table.finish();
  if (result != 0)
    error = last_error.empty() ? fmt::format("the module's update failed ({})", result)
                               : fmt::format("the module's update failed ({}): {}", result, last_error);
  return result;
}

}  // namespace snmp_host

int odb_add(void* host, const snmp_oid_word* oid, const snmp_value* value) {
  if (host == nullptr || oid == nullptr || value == nullptr) return snmp_host::ObjectTable::bad_value;
  return static_cast<snmp_host::ObjectTable*>(host)->add(oid, *value);
}

void odb_destroy(void* host) {
  if (host != nullptr) static_cast<snmp_host::ObjectTable*>(host)->clear();
}

void abz_set_error(const char* format, ...) {
  std::array<char, 256> text{};
  va_list args;
  va_start(args, format);
  (void)std::vsnprintf(text.data(), text.size(), format, args);
  va_end(args);
  snmp_host::last_error = text.data();
}

void abz_clear_error(void* /*host*/) { snmp_host::last_error.clear(); }
