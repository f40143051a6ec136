// SPDX-License-Identifier: MIT
#include "tools/cli/command.hpp"

#include <fmt/core.h>

namespace cli {
namespace {

// What the help names as the default: nothing for flags and for what is missing until it is given.
struct Initial {
  std::string operator()(const int* value) const { return fmt::format("{}", *value); }
  std::string operator()(const unsigned* value) const { return fmt::format("{}", *value); }
  std::string operator()(const double* value) const { return fmt::format("{:g}", *value); }
  std::string operator()(const std::string* value) const { return *value; }
  template <typename Other>
  std::string operator()(const Other*) const {
    return "";
  }
};

std::vector<std::string> split(std::string_view names) {
  std::vector<std::string> parts;
  for (std::size_t at = 0; at <= names.size();) {
    const std::size_t end = std::min(names.find(',', at), names.size());
    parts.emplace_back(names.substr(at, end - at));
    at = end + 1;
  }
  return parts;
}

Option make(std::string_view names, std::string placeholder, Target target, std::string text) {
  Option option;
  option.names = split(names);
  option.placeholder = std::move(placeholder);
  option.target = target;
  option.text = std::move(text);
  return option;
}

}  // namespace

Option& Option::range(double low, double high, std::string of_unit) {
  least = low;
  most = high;
  unit = std::move(of_unit);
  return *this;
}

Option& Option::choice(std::vector<std::string> words) {
  choices = std::move(words);
  return *this;
}

Option& Option::check(std::function<std::string(const std::string&)> what_is_wrong) {
  wrong = std::move(what_is_wrong);
  return *this;
}

Option& Option::excludes(std::string name) {
  excluded = std::move(name);
  return *this;
}

std::string Option::value_name() const {
  constexpr std::size_t few = 5;
  if (choices.empty() || choices.size() > few) return placeholder;
  std::string all;
  for (const std::string& word : choices) all += (all.empty() ? "" : "|") + word;
  return all;
}

Command& Command::command(std::string word, std::string about) {
  Command& added = commands.emplace_back(std::move(word), std::move(about));
  added.parent = this;
  return added;
}

Command& Command::alias(std::string another) {
  other_name = std::move(another);
  return *this;
}

Option& Command::flag(const char* names, bool& on, std::string about) {
  return options.emplace_back(make(names, "", &on, std::move(about)));
}

Option& Command::counter(const char* names, int& times, std::string about) {
  Option& option = options.emplace_back(make(names, "", &times, std::move(about)));
  option.counts = true;
  return option;
}

Option& Command::option(const char* names_and_value, Target target, std::string about) {
  const std::string_view all = names_and_value;
  const std::size_t blank = std::min(all.find(' '), all.size());
  std::string value(all.substr(std::min(blank + 1, all.size())));
  if (value.empty()) value = "VALUE";
  Option& option = options.emplace_back(make(all.substr(0, blank), std::move(value), target, std::move(about)));
  option.initial = std::visit(Initial(), target);
  return option;
}

Option& Command::argument(const char* placeholder, Target target, std::string about) {
  std::string_view word = placeholder;
  const bool required = !word.starts_with('[');
  if (!required) word = word.substr(1, word.size() - 2);
  if (word.ends_with("...")) word.remove_suffix(3);
  Option& option = arguments.emplace_back(make(word, std::string(word), target, std::move(about)));
  option.required = required;
  if (!required) option.initial = std::visit(Initial(), target);
  return option;
}

Command& Command::footer(std::string about) {
  below = std::move(about);
  return *this;
}

Command& Command::excludes(std::string option) {
  excluded = std::move(option);
  return *this;
}

Command& Command::action(std::function<void()> job) {
  run = std::move(job);
  return *this;
}

std::string Command::path() const {
  if (parent == nullptr) return "";
  const std::string above = parent->path();
  return above.empty() ? name : above + ' ' + name;
}

}  // namespace cli
