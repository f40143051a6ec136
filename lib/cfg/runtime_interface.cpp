// SPDX-License-Identifier: MIT
#include <kvrn/status.h>
#include <string.h>

#include "cfg/escape.hpp"
#include "cfg/list.hpp"
#include "cfg/query.hpp"
#include "cfg/renumber.hpp"

namespace kvrn {
namespace {

constexpr size_t name_size = 16;  // size of an interface name in the kernel
constexpr const char* devname = ".devname";

// Finds the bridge entry with a device name; null if none.
const cfg_entry* find_bridge(const List& bridges, const char* name) {
  for (cfg_entry* bridge = bridges.get(); bridge != nullptr; bridge = bridge->next) {
    const char* value = escaped(bridge);
    if (value != nullptr && ::strcmp(value, name) == 0) return bridge;
  }
  return nullptr;
}

void copy_name(char* destination, const char* name) {
  // memmove, because the name may be inside the destination.
  const size_t length = ::strnlen(name, name_size);
  ::memmove(destination, name, length);
  ::memset(destination + length, 0, name_size - length);
}

// Writes the name of the bridge's port; false when the name does not stand for a port.
bool resolve(const cfg_entry* cfg, const char* name, char* destination) {
  const List list = matching(cfg, false, pattern_of("bridge."));
  const List bridges = section(list.get(), pattern_of("bridge."), Middle::component, devname, nullptr);
  if (!find_switch(list.get(), pattern_of("bridge.status")).value_or(false)) return false;
  const cfg_entry* bridge = find_bridge(bridges, name);
  if (bridge == nullptr) return false;

  const std::int32_t number = index_number(bridge->key, 1);
  if (!find_switch(cfg, pattern_of("bridge.%d.status", number)).value_or(true)) return false;
  const List ports = section(cfg, pattern_of("bridge.%d.port.", number), Middle::component, devname, nullptr);
  // Trap: the port number is taken from the key of the bridge, which has no port number, so it is -1. One switch with
  // this number decides for all ports, and is normally absent. The result is the first port. Devices rely on getting
  // the port with the lowest number.
  const std::int32_t port = index_number(bridge->key, 2);
  if (!find_switch(cfg, pattern_of("bridge.%d.port.%d.status", number, port)).value_or(true)) return false;
  const char* first = escaped(ports.get());
  if (first == nullptr) return false;
  copy_name(destination, first);
  return true;
}

}  // namespace
}  // namespace kvrn

void getRuntimeInterface(const cfg_entry* cfg, const char* name, char* destination, int) {
  if (destination == nullptr) return;
  if (name == nullptr) name = "";
  if (!kvrn::resolve(cfg, name, destination)) kvrn::copy_name(destination, name);
}
