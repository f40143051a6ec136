// SPDX-License-Identifier: MIT
// Which conditions stand, and which of them were told. Two threads use it: one brings the readings, one sends. Nothing
// here allocates while readings come.
#pragma once

#include <array>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "tools/kvrn-agentd/condition.hpp"

namespace agentd {

// A condition that stands and was not told.
struct Change {
  const Condition* condition;
  unsigned row;
  Look look;  // the last reading with this condition
};

class Standing {
 public:
  // A condition stands when two readings in a row show it.
  void see(const Look& look);

  // The next change to send, in the order of the table. It then counts as sent. Nothing while a reading has just shown
  // something new: what belongs together is sent together and in the same order.
  std::optional<Change> take();
  // The change could not be sent.
  void put_back(const Change& change);

  // Everything that was sent counts as told, or as not sent.
  void confirm();
  void forget();

  // At the first start, what is normal counts as told. @return whether there was anything
  bool adopt_normal();

  // What was told, for the file. load() returns false, with nothing changed, for a text that is none of save().
  std::string save() const;
  bool load(std::string_view text);

 private:
  // A condition, with its value if each value is another condition.
  struct Level {
    const Condition* condition = nullptr;
    std::int64_t value = 0;
    bool operator==(const Level&) const = default;
    explicit operator bool() const { return condition != nullptr; }
  };

  // Of one subject in one row.
  struct State {
    Level seen;    // in the last reading
    Level stands;  // in the last two readings that agreed
    Level sent;
    Level told;
    Look look;
  };
  using States = std::array<std::array<State, highest_row + 1>, subject_count>;

  static Level level_of(Subject subject, const Row& row, const Level& before);
  static bool load_line(std::string_view line, States& states);
  static State& at(States& states, const Condition& condition, unsigned row) {
    return states[static_cast<std::size_t>(condition.subject)][row];
  }
  template <typename Use>
  void for_each(Use use);

  mutable std::mutex mutex_;
  States states_;
  unsigned unsettled_ = 0;  // how many readings in a row showed something that the reading before did not
};

}  // namespace agentd
