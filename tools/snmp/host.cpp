// SPDX-License-Identifier: MIT
#include "tools/snmp/host.hpp"

#include <fmt/format.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <exception>

namespace snmp_host {
namespace {

// abz_set_error() has no context, so the text belongs to the running update. The buffer is static: memory may be full.
std::array<char, 256> last_error;

}  // namespace

int update(const kvrn_snmp_module& module, ObjectTable& table, std::string& error) {
  last_error[0] = '\0';
  const int result = module.update(&table);
  table.finish();
  if (result != 0)
    error = fmt::format("the module's update failed ({}){}{}", result, last_error[0] == '\0' ? "" : ": ",
                        last_error.data());
  return result;
}

}  // namespace snmp_host

int odb_add(void* host, const kvrn_snmp_oid_word* oid, const kvrn_snmp_value* value) {
  if (host == nullptr || oid == nullptr || value == nullptr) return snmp_host::ObjectTable::bad_value;
  // The caller is C: no exception may pass through it.
  try {
    return static_cast<snmp_host::ObjectTable*>(host)->add(oid, *value);
  } catch (const std::exception&) {
    ::abz_set_error("no memory");
    return snmp_host::ObjectTable::no_memory;
  }
}

void odb_destroy(void* host) {
  if (host != nullptr) static_cast<snmp_host::ObjectTable*>(host)->clear();
}

void abz_set_error(const char* format, ...) {
  va_list args;
  va_start(args, format);
  (void)std::vsnprintf(snmp_host::last_error.data(), snmp_host::last_error.size(), format, args);
  va_end(args);
}

void abz_clear_error(void* /*host*/) { snmp_host::last_error[0] = '\0'; }
