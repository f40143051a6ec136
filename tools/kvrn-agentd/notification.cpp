// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/notification.hpp"

#include "tools/kvrn-agentd/varbind.hpp"

// After net-snmp's first headers.
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <array>
#include <memory>
#include <span>

#include "tools/kvrn-agentd/tree.hpp"

namespace agentd {
namespace {

using snmp_host::Arc;
using snmp_host::Object;

struct Free {
  void operator()(netsnmp_variable_list* variables) const { ::snmp_free_varbind(variables); }
};

constexpr std::array<Arc, 11> trap_oid{1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
constexpr auto text_object = in_tree(1U, 5U, 98U, 1U, 0U);
constexpr auto output_state_object = in_tree(1U, 5U, 98U, 2U, 0U);
constexpr auto device_state_object = in_tree(1U, 5U, 98U, 3U, 0U);

// The variables of a notification. A variable for which there is no memory makes the list incomplete.
class Variables {
 public:
  void add(std::span<const Arc> name, const Object& value) {
    netsnmp_variable_list* list = list_.release();
    netsnmp_variable_list* added = ::snmp_varlist_add_variable(&list, name.data(), name.size(), ASN_NULL, nullptr, 0);
    list_.reset(list);
    complete_ = complete_ && added != nullptr && set_value(*added, value) == 0;
  }
  void add_number(std::span<const Arc> name, std::int64_t number) {
    add(name, Object{.oid = {},
                     .type = KVRN_SNMP_TYPE_INTEGER,
                     .number = static_cast<std::uint32_t>(number),
                     .bytes = {},
                     .object_id = {}});
  }

  netsnmp_variable_list* list() const { return complete_ ? list_.get() : nullptr; }

 private:
  std::unique_ptr<netsnmp_variable_list, Free> list_;
  bool complete_ = true;
};

// The columns of a row that a notification carries: from the first to the last one.
struct Columns {
  unsigned table;
  unsigned first;
  unsigned last;
};
// The first column of the outputs says nothing. The columns after the sixth belong to batteries.
constexpr Columns columns_of(Rows rows) {
  switch (rows) {
    case Rows::output:
      return {2, 2, 4};
    case Rows::battery:
      return {3, 1, 12};
    case Rows::slot:
    case Rows::input:
      return {3, 1, 6};
    case Rows::device:
      break;
  }
  return {0, 1, 0};
}

void add_row(Variables& variables, const Change& change) {
  const Columns columns = columns_of(change.condition->rows);
  for (unsigned column = columns.first; column <= columns.last; ++column) {
    const auto name = in_tree(1U, 5U, columns.table, 2U, 1U, column, change.row);
    if (const Object* object = change.look.table->find(name)) variables.add(name, *object);
  }
}

}  // namespace

bool send(const Change& change) {
  const Condition& condition = *change.condition;
  const Row row(change.look, change.row);
  const auto name = in_tree(1U, 5U, 0U, condition.notification);
  Variables variables;
  variables.add(trap_oid, Object{.oid = {},
                                 .type = KVRN_SNMP_TYPE_OBJECT_ID,
                                 .number = 0,
                                 .bytes = {},
                                 .object_id = {name.begin(), name.end()}});
  add_row(variables, change);
  if (condition.column == Column::output_state)
    variables.add_number(output_state_object, row.value(condition.column).value_or(-1));
  if (condition.column == Column::device_state)
    variables.add_number(device_state_object, row.value(condition.column).value_or(-1));
  variables.add(text_object, Object{.oid = {},
                                    .type = KVRN_SNMP_TYPE_OCTET_STRING,
                                    .number = 0,
                                    .bytes = text_of(condition, row),
                                    .object_id = {}});
  if (variables.list() == nullptr) return false;
  ::send_v2trap(variables.list());
  return true;
}

}  // namespace agentd
