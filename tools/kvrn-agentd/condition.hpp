// SPDX-License-Identifier: MIT
// What is worth a notification. Each condition is one row of one table. docs/snmp.md describes the rows, and the MIB
// module has a notification for each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tools/kvrn-agentd/look.hpp"

namespace agentd {

// Which rows of the tree a condition is about. Row 0 is the device.
enum class Rows { device, slot, input, battery, output };

// The column that decides: of the sources, by its number, or what no column tells.
enum class Column : unsigned {
  psu_type = 2,
  psu_state = 3,
  psu_usable = 4,
  psu_charge = 9,
  psu_time = 10,
  psu_health = 11,
  no_readings = 100,
  outputs_frozen,
  output_state,
  device_state
};

// Conditions of the same subject exclude each other: at most one stands for each row.
enum class Subject { readings, output_readings, supply, mains, presence, health, charge, output, state };
inline constexpr std::size_t subject_count = 9;

// One row in one reading.
class Row {
 public:
  Row(const Look& look, unsigned number) : look_(look), number_(number) {}

  bool is(Rows kind) const;
  // Nothing when the row or the reading does not have it.
  std::optional<std::int64_t> value(Column column) const;
  bool has(Column column, std::int64_t wanted) const { return value(column) == wanted; }
  bool output_on() const { return look_.outputs[number_ - 1].on; }

  const Look& look() const { return look_; }
  unsigned number() const { return number_; }

 private:
  const Look& look_;
  unsigned number_;
};

// At the first start, nothing has been told. A condition that is normal is then not worth a notification.
enum class First { told, silent };

struct Condition {
  const char* name;  // in the file of what was told
  unsigned notification;
  Subject subject;
  Rows rows;
  Column column;
  // `stands`: this condition, or a worse one of its subject, stood before. It then stands a little longer.
  bool (*holds)(std::int64_t value, const Row& row, bool stands);
  const char* text;
  First first = First::told;
  bool each_value = false;  // another value of the column is another condition
};

// In the order in which notifications are sent. Of a subject, the first condition that holds stands.
std::span<const Condition> conditions();

// The rows that may exist: 0 to this number.
inline constexpr unsigned highest_row = 4;

// The text for people. At most 255 bytes.
std::string text_of(const Condition& condition, const Row& row);

}  // namespace agentd
