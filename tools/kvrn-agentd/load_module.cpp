// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/load_module.hpp"

#include <dlfcn.h>
#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "tools/kvrn-agentd/tree.hpp"
#include "tools/snmp/object_table.hpp"

namespace agentd {
namespace {

bool is_zero(std::uintptr_t word) { return word == 0; }

// Whether the byte at an offset belongs to the object that begins at `first`, by the symbol table.
bool belongs(const std::byte* first, std::size_t offset) {
  Dl_info info;
  return ::dladdr(first + offset, &info) != 0 && info.dli_saddr == first;
}

// Checks the object's size, before the object is read. dladdr1(), which would tell the size, exists only in glibc.
bool is_descriptor(const void* address) {
  const auto* first = static_cast<const std::byte*>(address);
  return belongs(first, sizeof(kvrn_snmp_module) - 1) && !belongs(first, sizeof(kvrn_snmp_module));
}

// Checks a descriptor before its function is called. @return what is wrong, or null
const char* fault_of(const kvrn_snmp_module& module) {
  if (module.name == nullptr || module.oid == nullptr || module.update == nullptr)
    return "it has no name, no tree or no update function";
  if (!std::ranges::all_of(module.zero_4, is_zero) || !std::ranges::all_of(module.zero_7, is_zero))
    return "words that are always zero are not";
  if (std::is_neq(snmp_host::compare(snmp_host::arcs_of(module.oid), tree_root))) return "its tree is another one";
  return nullptr;
}

}  // namespace

const kvrn_snmp_module* load_module(const std::string& library, std::string& why) {
  void* handle = ::dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    why = ::dlerror();
    return nullptr;
  }
  const void* symbol = ::dlsym(handle, "module");
  if (symbol == nullptr) {
    why = fmt::format("{} is no module: it exports no object \"module\"", library);
    return nullptr;
  }
  const auto* module = static_cast<const kvrn_snmp_module*>(symbol);
  const char* fault = is_descriptor(symbol) ? fault_of(*module) : "its descriptor has another size";
  if (fault == nullptr) return module;
  why = fmt::format("{} is a module of another shape: {}", library, fault);
  return nullptr;
}

}  // namespace agentd
