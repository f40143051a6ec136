// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/standing.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace agentd {
namespace {

// A source that changes with each reading must not hold back the others for ever.
constexpr unsigned longest_unsettled = 4;

constexpr std::string_view heading = "kvrn-agentd: what was told, 1\n";
constexpr std::string_view ending = "end\n";

// Removes the text up to the character, and the character. @return that text; nothing without the character
std::optional<std::string_view> cut(std::string_view& text, char end) {
  const std::size_t length = text.find(end);
  if (length == std::string_view::npos) return std::nullopt;
  const std::string_view first = text.substr(0, length);
  text.remove_prefix(length + 1);
  return first;
}

std::optional<unsigned> number_of(std::string_view text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

// The conditions of a subject begin with the worst one.
Standing::Level Standing::level_of(Subject subject, const Row& row, const Level& before) {
  for (const Condition& condition : conditions()) {
    if (condition.subject != subject || !row.is(condition.rows)) continue;
    const auto value = row.value(condition.column);
    const bool stands = before && before.condition <= &condition;
    if (value && condition.holds(*value, row, stands)) return {&condition, condition.each_value ? *value : 0};
  }
  return {};
}

void Standing::see(const Look& look) {
  const std::lock_guard lock(mutex_);
  bool settled = true;
  for (std::size_t subject = 0; subject < states_.size(); ++subject)
    for (unsigned number = 0; number <= highest_row; ++number) {
      State& state = states_[subject][number];
      const Level now = level_of(static_cast<Subject>(subject), Row(look, number), state.stands);
      if (now && now == state.seen) {
        state.stands = now;
        state.look = look;
      }
      settled = settled && (!now || now == state.stands);
      state.seen = now;
    }
  unsettled_ = settled ? 0 : unsettled_ + 1;
}

template <typename Use>
void Standing::for_each(Use use) {
  const std::lock_guard lock(mutex_);
  for (auto& rows : states_) std::ranges::for_each(rows, use);
}

std::optional<Change> Standing::take() {
  const std::lock_guard lock(mutex_);
  if (unsettled_ > 0 && unsettled_ < longest_unsettled) return std::nullopt;
  for (auto& rows : states_)
    for (unsigned number = 0; number < rows.size(); ++number) {
      State& state = rows[number];
      if (!state.stands || state.sent || state.stands == state.told) continue;
      state.sent = state.stands;
      return Change{state.stands.condition, number, state.look};
    }
  return std::nullopt;
}

void Standing::put_back(const Change& change) {
  const std::lock_guard lock(mutex_);
  at(states_, *change.condition, change.row).sent = {};
}

void Standing::confirm() {
  for_each([](State& state) {
    if (state.sent) state.told = state.sent;
    state.sent = {};
  });
}

void Standing::forget() {
  for_each([](State& state) { state.sent = {}; });
}

bool Standing::adopt_normal() {
  bool any = false;
  for_each([&](State& state) {
    if (state.told || !state.stands || state.stands.condition->first != First::silent) return;
    state.told = state.stands;
    any = true;
  });
  return any;
}

std::string Standing::save() const {
  const std::lock_guard lock(mutex_);
  std::string text(heading);
  for (const auto& rows : states_)
    for (unsigned number = 0; number < rows.size(); ++number)
      if (const Level& told = rows[number].told)
        text += fmt::format("{} {} {}\n", told.condition->name, number, told.value);
  return text += ending;
}

// "mains-lost 2 0"
bool Standing::load_line(std::string_view line, States& states) {
  const auto name = cut(line, ' ');
  const auto row = cut(line, ' ');
  if (!name || !row) return false;
  const auto number = number_of(*row);
  const auto value = number_of(line);
  const auto condition = std::ranges::find(conditions(), *name, &Condition::name);
  if (condition == conditions().end() || !number || *number > highest_row || !value) return false;
  State& state = at(states, *condition, *number);
  state.told = {&*condition, *value};
  state.stands = state.told;
  return true;
}

bool Standing::load(std::string_view text) {
  if (!text.starts_with(heading) || !text.ends_with(ending)) return false;
  text.remove_prefix(heading.size());
  text.remove_suffix(ending.size());
  States states;
  while (!text.empty()) {
    const auto line = cut(text, '\n');
    if (!line || !load_line(*line, states)) return false;
  }
  const std::lock_guard lock(mutex_);
  states_ = std::move(states);
  return true;
}

}  // namespace agentd
