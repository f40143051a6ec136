// SPDX-License-Identifier: MIT
// snmp dump: prints the table that the agent would serve. No agent is needed.
#include <fmt/format.h>

#include <vector>

#include "tools/kvrnctl/command.hpp"
#include "tools/snmp/host.hpp"

namespace kvrnctl {
namespace {

// A document replaces bytes that are not UTF-8. Bytes that are not text are therefore also given as numbers.
void add_bytes(json& out, const std::string& bytes) {
  out["value"] = bytes;
  const std::vector<unsigned char> numbers(bytes.begin(), bytes.end());
  if (!snmp_host::is_text(bytes)) out["hex"] = fmt::format("{:02X}", fmt::join(numbers, " "));
}

json object_section(const snmp_host::Object& object) {
  json out{{"oid", snmp_host::to_text(object.oid)}, {"type", snmp_host::type_name(object)}};
  if (object.type == KVRN_SNMP_TYPE_INTEGER)
    out["value"] = static_cast<std::int32_t>(object.number);
  else if (object.type == KVRN_SNMP_TYPE_OCTET_STRING)
    add_bytes(out, object.bytes);
  else if (object.type == KVRN_SNMP_TYPE_OBJECT_ID)
    out["value"] = snmp_host::to_text(object.object_id);
  else
    out["value"] = object.number;
  return out;
}

Result dump(const Context& context) {
  Result result;
  snmp_host::ObjectTable table;
  std::string error;
  if (snmp_host::update(::module, table, error) != 0) result.fail(Exit::failed, error);
  json list = json::array();
  for (const snmp_host::Object& object : table.objects()) {
    if (context.json) list.push_back(object_section(object));
    result.text += snmp_host::to_text(object) + '\n';
  }
  result.data["objects"] = std::move(list);
  return result;
}

}  // namespace

void add_snmp_commands(CommandLine& line) {
  line.add("snmp", "What the SNMP agent serves")
      .command("dump", "Every object of the tree, as snmpwalk -On writes it")
      .action([&line] { line.action = dump; });
}

}  // namespace kvrnctl
