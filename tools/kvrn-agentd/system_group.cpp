// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/system_group.hpp"

// net-snmp's headers need this order.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

extern "C" {
#include <net-snmp/agent/snmp_get_statistic.h>
// The net-snmp header that declares this variable is not installed.
extern long snmp_enableauthentraps;
}
#include <fmt/core.h>
#include <strings.h>
#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "tools/kvrn-agentd/tree_handler.hpp"

namespace agentd {
namespace {

using snmp_host::ObjectTable;
using Word = kvrn_snmp_oid_word;

constexpr std::array<snmp_host::Arc, 7> system_root{1, 3, 6, 1, 2, 1, 1};
constexpr std::array<oid, 7> snmp_root{1, 3, 6, 1, 2, 1, 11};
// net-snmp's agent on Linux, as snmpd says too. 43 stands for 1.3.
constexpr std::array<Word, 10> object_id{9, 43, 6, 1, 4, 1, 8072, 3, 2, 10};
constexpr std::uint32_t services = 72;  // those of a host: end-to-end and applications
constexpr std::size_t longest_text = 255;

struct Text {
  const char* word;  // in the configuration file
  Word object;
  std::string value;
};
std::array texts{Text{"sysDescr", 1, ""}, Text{"sysContact", 4, "root"}, Text{"sysName", 5, ""},
                 Text{"sysLocation", 6, "Unknown"}};

void set_text(const char* word, char* value) {
  const auto known = std::ranges::find_if(texts, [&](const Text& text) { return ::strcasecmp(text.word, word) == 0; });
  if (std::string_view(value).size() > longest_text)
    ::netsnmp_config_error("%s has more than %zu characters", word, longest_text);
  else
    known->value = value;
}

void add(ObjectTable& table, Word object, const kvrn_snmp_value& value) {
  const std::array<Word, 9> name{8, 43, 6, 1, 2, 1, 1, object, 0};
  (void)table.add(name.data(), value);
}

TablePtr system_table() {
  const auto table = std::make_shared<ObjectTable>();
  for (const Text& text : texts)
    add(*table, text.object,
        {KVRN_SNMP_TYPE_OCTET_STRING,
         {},
         {.text = {static_cast<std::uint32_t>(text.value.size()), text.value.data()}}});
  add(*table, 2, {KVRN_SNMP_TYPE_OBJECT_ID, {}, {.oid = object_id.data()}});
  add(*table, 3, {KVRN_SNMP_TYPE_TIMETICKS, {}, {.number = static_cast<std::uint32_t>(::netsnmp_get_agent_uptime())}});
  add(*table, 7, {KVRN_SNMP_TYPE_INTEGER, {}, {.number = services}});
  table->finish();
  return table;
}

// The numbers 7 and 23 are not used, and 30 is no counter.
int hide_gaps(netsnmp_mib_handler*, netsnmp_handler_registration*, netsnmp_agent_request_info* info,
              netsnmp_request_info* requests) {
  const oid object = requests->requestvb->name[snmp_root.size()];
  if (object == 7 || object == 23 || object == 30) ::netsnmp_set_request_error(info, requests, SNMP_NOSUCHOBJECT);
  return SNMP_ERR_NOERROR;
}

bool serve_snmp_group() {
  netsnmp_handler_registration* counters =
      ::netsnmp_create_handler_registration("snmp", hide_gaps, snmp_root.data(), snmp_root.size(), HANDLER_CAN_RONLY);
  constexpr std::array<oid, 9> enable_traps{1, 3, 6, 1, 2, 1, 11, 30, 0};
  return counters != nullptr && NETSNMP_REGISTER_STATISTIC_HANDLER(counters, 1, SNMP) == MIB_REGISTERED_OK &&
         ::netsnmp_register_read_only_long_instance("snmpEnableAuthenTraps", enable_traps.data(), enable_traps.size(),
                                                    &snmp_enableauthentraps, nullptr) == MIB_REGISTERED_OK;
}

}  // namespace

void add_system_words() {
  utsname host{};
  (void)::uname(&host);
  texts[0].value = fmt::format("{} {} {} {} {}", host.sysname, host.nodename, host.release, host.version, host.machine);
  texts[2].value = host.nodename;
  for (const Text& text : texts) (void)::register_app_config_handler(text.word, set_text, nullptr, "TEXT");
}

bool serve_system_groups() {
  static Tables tables = system_table;
  return serve(system_root, tables) && serve_snmp_group();
}

}  // namespace agentd
