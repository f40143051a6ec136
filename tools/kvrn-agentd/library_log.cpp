// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/library_log.hpp"

// net-snmp's headers need this order.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>
#include <syslog.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

namespace agentd {
namespace {

constexpr std::size_t most_texts = 100;
constexpr std::string_view own_name = "net-snmp: ";  // some of its messages begin with it

// The first line. Other lines repeat what the user wrote, or give advice for net-snmp's own programs.
std::string_view first_line(std::string_view text) {
  if (text.starts_with(own_name)) text.remove_prefix(own_name.size());
  return text.substr(0, text.find('\n'));
}

void say(int priority, std::string_view text) {
  static std::vector<std::string> said;
  if (text.empty() || said.size() > most_texts || std::ranges::find(said, text) != said.end()) return;
  said.emplace_back(text);
  if (said.size() > most_texts)
    ::syslog(LOG_WARNING, "net-snmp: more messages are not logged");
  else
    ::syslog(priority, "net-snmp: %.*s", static_cast<int>(text.size()), text.data());
}

int on_message(int, int, void* message, void*) {
  // The caller is C: no exception may pass through it.
  try {
    const auto& [priority, text] = *static_cast<const snmp_log_message*>(message);
    say(priority, first_line(text));
  } catch (const std::bad_alloc&) {
  }
  return 0;
}

}  // namespace

void log_library() {
  ::snmp_disable_log();
  (void)::netsnmp_register_loghandler(NETSNMP_LOGHANDLER_CALLBACK, LOG_WARNING);
  (void)::snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, on_message, nullptr);
}

void silence_library() {
  ::snmp_disable_log();
  (void)::netsnmp_register_loghandler(NETSNMP_LOGHANDLER_NONE, LOG_DEBUG);
}

}  // namespace agentd
