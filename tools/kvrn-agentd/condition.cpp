// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/condition.hpp"

#include <fmt/format.h>
#include <kvrn/status.h>

#include <array>
#include <string_view>

#include "tools/kvrn-agentd/tree.hpp"
#include "tools/observe/meanings.hpp"

namespace agentd {
namespace {

// Values of the columns.
enum PsuType { empty = 0, battery = 2 };
enum PsuState { read_without_mains = 1, unread = 2, read_on_mains = 3 };
enum BatteryHealth { sound = 1, at_fault = 2 };

constexpr std::int64_t low_pct = 25;
constexpr std::int64_t critical_pct = 11;
constexpr std::int64_t margin_pct = 3;
constexpr std::int64_t ticks_per_minute = 60 * 100;
constexpr std::int64_t short_ticks = 15 * ticks_per_minute;
constexpr std::int64_t margin_ticks = 3 * ticks_per_minute;

template <std::int64_t... Wanted>
bool is(std::int64_t value, const Row&, bool) {
  return ((value == Wanted) || ...);
}

bool is_code(std::int64_t value, const Row&, bool) { return value >= 0; }

// A slot that is not empty; a slot without a sensor counts as filled.
bool is_filled(std::int64_t value, const Row&, bool) { return value != empty; }

bool below(std::int64_t value, std::int64_t limit, std::int64_t margin, bool stands) {
  return value < limit + (stands ? margin : 0);
}

// The charge matters while the device runs on the battery. Without a time nobody publishes an estimate.
bool discharges(const Row& row) {
  return row.has(Column::psu_usable, 1) && row.has(Column::psu_state, read_without_mains) &&
         row.value(Column::psu_time).value_or(0) > 0;
}

bool is_critical(std::int64_t charge, const Row& row, bool stands) {
  return discharges(row) && (below(charge, critical_pct, margin_pct, stands) ||
                             below(*row.value(Column::psu_time), short_ticks, margin_ticks, stands));
}

bool is_low(std::int64_t charge, const Row& row, bool stands) {
  return discharges(row) && below(charge, low_pct, margin_pct, stands);
}

bool is_not_low(std::int64_t, const Row& row, bool) {
  return discharges(row) || (row.has(Column::psu_usable, 1) && row.has(Column::psu_state, read_on_mains));
}

bool is_off(std::int64_t state, const Row& row, bool) {
  return (state == KVRN_OUTPUT_NORMAL || state == KVRN_OUTPUT_IDLE) && !row.output_on();
}

constexpr auto silent = First::silent;

constexpr std::array table{
    Condition{"readings-frozen", 1, Subject::readings, Rows::device, Column::no_readings, is<1>,
              "no complete readings: no object is served"},
    Condition{"readings-fresh", 2, Subject::readings, Rows::device, Column::no_readings, is<0>,
              "there are complete readings again", silent},
    Condition{"output-readings-frozen", 3, Subject::output_readings, Rows::device, Column::outputs_frozen, is<1>,
              "nobody publishes readings of the outputs"},
    Condition{"output-readings-fresh", 4, Subject::output_readings, Rows::device, Column::outputs_frozen, is<0>,
              "readings of the outputs are published again", silent},
    Condition{"supply-pulled", 5, Subject::supply, Rows::slot, Column::psu_type, is<empty>,
              "the slot of input {row} has no supply"},
    Condition{"supply-inserted", 6, Subject::supply, Rows::slot, Column::psu_type, is_filled,
              "the slot of input {row} has a supply again", silent},
    Condition{"mains-lost", 7, Subject::mains, Rows::input, Column::psu_usable, is<0>, "input {row} has no mains"},
    Condition{"mains-back", 8, Subject::mains, Rows::input, Column::psu_usable, is<1>, "input {row} has mains again",
              silent},
    Condition{"battery-missing", 9, Subject::presence, Rows::battery, Column::psu_usable, is<0>,
              "battery {row} is missing"},
    Condition{"battery-inserted", 10, Subject::presence, Rows::battery, Column::psu_usable, is<1>,
              "battery {row} is present again", silent},
    Condition{"battery-fault", 11, Subject::health, Rows::battery, Column::psu_health, is<at_fault>,
              "battery {row} is at fault"},
    Condition{"battery-fault-over", 12, Subject::health, Rows::battery, Column::psu_health, is<sound>,
              "battery {row} is no longer at fault", silent},
    Condition{"battery-critical", 13, Subject::charge, Rows::battery, Column::psu_charge, is_critical,
              "battery {row} is nearly empty: {charge} %, {minutes} min left"},
    Condition{"battery-low", 14, Subject::charge, Rows::battery, Column::psu_charge, is_low,
              "battery {row} is low: {charge} %, {minutes} min left"},
    Condition{"battery-not-low", 15, Subject::charge, Rows::battery, Column::psu_charge, is_not_low,
              "battery {row} is no longer low: {charge} %, {mains}", silent},
    Condition{"output-protected", 16, Subject::output, Rows::output, Column::output_state, is<KVRN_OUTPUT_PROTECTED>,
              "output {row} was stopped by its protection"},
    Condition{"output-overload", 17, Subject::output, Rows::output, Column::output_state, is<KVRN_OUTPUT_OVERLOAD>,
              "output {row} is overloaded"},
    Condition{"output-shed", 18, Subject::output, Rows::output, Column::output_state, is<KVRN_OUTPUT_SHED>,
              "output {row} was shed"},
    Condition{"output-off", 19, Subject::output, Rows::output, Column::output_state, is_off,
              "output {row} is switched off"},
    Condition{"output-normal", 20, Subject::output, Rows::output, Column::output_state,
              is<KVRN_OUTPUT_NORMAL, KVRN_OUTPUT_IDLE, KVRN_OUTPUT_CONFIGURED_OFF>, "output {row} is in order again",
              silent},
    Condition{"device-state-changed", 21, Subject::state, Rows::device, Column::device_state, is_code,
              "device state {value}: {meaning}", First::told, true},
};

std::optional<std::int64_t> published(const Look& look, unsigned row) {
  if (look.outputs_frozen != false || row == 0 || row > look.outputs.size()) return std::nullopt;
  return look.outputs[row - 1].state;
}

}  // namespace

std::span<const Condition> conditions() { return table; }

std::optional<std::int64_t> Row::value(Column column) const {
  switch (column) {
    case Column::no_readings:
      return look_.expired ? 1 : 0;
    case Column::outputs_frozen:
      return look_.outputs_frozen;
    case Column::output_state:
      return published(look_, number_);
    case Column::device_state:
      return look_.device_state;
    default:
      break;
  }
  const snmp_host::Object* object =
      look_.table->find(in_tree(1U, 5U, 3U, 2U, 1U, static_cast<unsigned>(column), number_));
  if (object == nullptr) return std::nullopt;
  if (object->type == KVRN_SNMP_TYPE_INTEGER) return static_cast<std::int32_t>(object->number);
  return object->number;
}

bool Row::is(Rows kind) const {
  if (kind == Rows::device) return number_ == 0;
  if (kind == Rows::output) return look_.table->find(in_tree(1U, 5U, 2U, 2U, 1U, 2U, number_)) != nullptr;
  // A source that was not read tells nothing.
  const auto type = value(Column::psu_type);
  if (!type || has(Column::psu_state, unread) || (look_.unread >> (number_ - 1) & 1) != 0) return false;
  if (kind == Rows::battery) return *type == battery && !look_.mains_unread;
  return *type != battery && (kind == Rows::slot || *type != empty);
}

std::string text_of(const Condition& condition, const Row& row) {
  const char* meaning = observe::device_state_meaning(row.look().device_state.value_or(-1));
  return fmt::format(fmt::runtime(condition.text), fmt::arg("row", row.number()),
                     fmt::arg("value", row.value(condition.column).value_or(-1)),
                     fmt::arg("charge", row.value(Column::psu_charge).value_or(0)),
                     fmt::arg("minutes", row.value(Column::psu_time).value_or(0) / ticks_per_minute),
                     fmt::arg("mains", row.has(Column::psu_state, read_on_mains) ? "mains is back" : "without mains"),
                     fmt::arg("meaning", meaning == nullptr ? "unknown" : meaning));
}

}  // namespace agentd
