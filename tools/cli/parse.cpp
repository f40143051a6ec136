// SPDX-License-Identifier: MIT
#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "tools/cli/help.hpp"
#include "tools/cli/nearest.hpp"

namespace cli {
namespace {

[[noreturn]] void refuse(std::string text) { throw WrongUsage{std::move(text)}; }

// The whole text as a number, without signs of more than a minus, blanks, exponents or "nan".
template <typename Number>
std::optional<Number> to_number(const std::string& text) {
  Number value{};
  const char* end = text.data() + text.size();
  if (text.empty() || text.find_first_not_of("-.0123456789") != std::string::npos) return std::nullopt;
  if constexpr (std::is_integral_v<Number>) {
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end) return std::nullopt;
  } else {
    // from_chars() for floating-point numbers would add 22 KiB of code and tables to the program.
    char* rest = nullptr;
    value = std::strtod(text.c_str(), &rest);
    if (rest != end) return std::nullopt;
  }
  return value;
}

// As messages name it: "--period", or "LINE".
std::string name_of(const Option& option) {
  return option.names.back()[0] == '-' ? option.names.back() : option.value_name();
}

template <typename Number>
Number number(const Option& option, const std::string& text) {
  const auto value = to_number<Number>(text);
  if (value && (!option.least || (*value >= *option.least && *value <= *option.most))) return *value;
  const char* kind = std::is_integral_v<Number> ? "a whole number" : "a number";
  std::string bounds;
  if (option.least) bounds = fmt::format(" from {} to {}", *option.least, *option.most);
  if (!option.unit.empty()) bounds += ' ' + option.unit;
  refuse(fmt::format("{} is {}{}, not '{}'", name_of(option), kind, bounds, text));
}

struct Store {
  const Option& option;
  const std::string& text;

  void operator()(bool*) const {}
  void operator()(int* value) const { *value = number<int>(option, text); }
  void operator()(unsigned* value) const { *value = number<unsigned>(option, text); }
  void operator()(double* value) const { *value = number<double>(option, text); }
  void operator()(std::string* value) const { *value = text; }
  void operator()(std::optional<int>* value) const { *value = number<int>(option, text); }
  void operator()(std::optional<double>* value) const { *value = number<double>(option, text); }
  void operator()(std::optional<std::string>* value) const { *value = text; }
  void operator()(std::vector<std::string>* value) const { value->push_back(text); }
};

void store(Option& option, const std::string& text) {
  if (option.given && !option.takes_many()) refuse(fmt::format("{} is given twice", name_of(option)));
  if (!option.choices.empty() && std::ranges::find(option.choices, text) == option.choices.end())
    refuse(fmt::format("{} is {}, not '{}'{}", option.names.back(), listed(option.choices), text,
                       meant(text, option.choices)));
  if (option.wrong)
    if (const std::string what = option.wrong(text); !what.empty()) refuse(what);
  std::visit(Store{option, text}, option.target);
  option.given = true;
}

void raise(Option& flag) {
  flag.given = true;
  if (flag.counts)
    ++*std::get<int*>(flag.target);
  else
    *std::get<bool*>(flag.target) = true;
}

// The words of the command line, from the first to the last.
class Parser {
 public:
  Parser(Command& program, int argc, const char* const* argv) : command(&program), words_(argv + 1, argv + argc) {}

  Command* command;  // the one that the words have chosen so far
  enum class Wanted { action, help, version };

  Wanted parse() {
    Wanted wanted = Wanted::action;
    bool only_words = false;
    while (wanted == Wanted::action && at_ < words_.size()) {
      const std::string word = words_[at_++];
      if (!only_words && word == "--")
        only_words = true;
      else if (!only_words && is_option(word))
        wanted = word.starts_with("--") ? long_option(word) : short_options(word);
      else
        wanted = plain(word);
    }
    if (wanted == Wanted::help) choose_for_help();
    if (wanted == Wanted::action) check_complete();
    return wanted;
  }

 private:
  // "-" is a word, and so is a negative number.
  bool is_option(const std::string& word) const {
    return word.size() > 1 && word[0] == '-' && std::strchr("0123456789.", word[1]) == nullptr;
  }

  std::string subject() const {
    const std::string path = command->path();
    return path.empty() ? "no" : path + " has no";
  }

  Option* find(const std::string& name) const {
    for (Command* owner = command; owner != nullptr; owner = owner->parent)
      for (Option& option : owner->options)
        if (std::ranges::find(option.names, name) != option.names.end()) return &option;
    return nullptr;
  }

  std::vector<std::string> option_names() const {
    std::vector<std::string> names;
    for (const Command* owner = command; owner != nullptr; owner = owner->parent)
      for (const Option& option : owner->options) names.push_back(name_of(option));
    names.insert(names.end(), {"--help", "--version"});
    return names;
  }

  [[noreturn]] void refuse_option(const std::string& name) const {
    refuse(fmt::format("{} option '{}'{}", subject(), name, offer(name, option_names())));
  }

  void take_value(Option& option, std::optional<std::string> value) {
    if (!value && at_ == words_.size()) refuse(fmt::format("{} needs a value", name_of(option)));
    store(option, value ? *value : words_[at_++]);
  }

  Wanted long_option(const std::string& word) {
    const std::size_t equals = std::min(word.find('='), word.size());
    const std::string name = word.substr(0, equals);
    if (word == "--help") return Wanted::help;
    if (word == "--version") return Wanted::version;
    Option* option = find(name);
    const bool common = name == "--help" || name == "--version";
    if (option == nullptr && !common) refuse_option(name);
    if (!common && !option->is_flag())
      take_value(*option, equals < word.size() ? std::optional(word.substr(equals + 1)) : std::nullopt);
    else if (equals < word.size())
      refuse(fmt::format("{} takes no value", name));
    else
      raise(*option);
    return Wanted::action;
  }

  // "-v", "-vv", "-hv"
  Wanted short_options(const std::string& word) {
    for (const char letter : std::string_view(word).substr(1)) {
      if (letter == 'h') return Wanted::help;
      if (letter == 'V') return Wanted::version;
      const std::string name{'-', letter};
      Option* option = find(name);
      if (option == nullptr || !option->is_flag()) refuse_option(word.size() == 2 ? name : word);
      raise(*option);
    }
    return Wanted::action;
  }

  Command* below(const std::string& name) const {
    for (Command& candidate : command->commands)
      if (candidate.name == name || (!name.empty() && candidate.other_name == name)) return &candidate;
    return nullptr;
  }

  std::vector<std::string> command_names() const {
    std::vector<std::string> names;
    for (const Command& candidate : command->commands) names.push_back(candidate.name);
    return names;
  }

  [[noreturn]] void refuse_command(const std::string& word) const {
    refuse(fmt::format("{} command '{}'{}", subject(), word, offer(word, command_names())));
  }

  // A command, or an argument of the last one.
  Wanted plain(const std::string& word) {
    if (!command->commands.empty()) {
      if (word == "help") return Wanted::help;
      Command* chosen = below(word);
      if (chosen == nullptr) refuse_command(word);
      command = chosen;
      return Wanted::action;
    }
    for (Option& argument : command->arguments)
      if (!argument.given || argument.takes_many()) {
        store(argument, word);
        return Wanted::action;
      }
    const std::string path = command->path();
    refuse(fmt::format("{}'{}' is one word too many", path.empty() ? "" : path + ": ", word));
  }

  void choose_for_help() {
    for (; at_ < words_.size(); ++at_) {
      const std::string& word = words_[at_];
      if (word == "help" || is_option(word)) continue;
      if (command->commands.empty()) return;
      Command* chosen = below(word);
      if (chosen == nullptr) refuse_command(word);
      command = chosen;
    }
  }

  void check_complete() const {
    const std::string path = command->path();
    if (!command->run) {
      const std::vector<std::string> names = command_names();
      if (path.empty()) refuse("a command is missing");
      refuse(fmt::format("{} needs a command: {}", path, listed(names)));
    }
    for (const Option& argument : command->arguments)
      if (argument.required && !argument.given)
        refuse(fmt::format("{}{} is missing", path.empty() ? "" : path + ": ", name_of(argument)));
    const auto check_excluded = [&](const std::string& one, const std::string& other) {
      const Option* option = other.empty() ? nullptr : find(other);
      if (option != nullptr && option->given) refuse(fmt::format("{} does not go with {}", one, other));
    };
    check_excluded(path, command->excluded);
    for (const Option& option : command->options)
      if (option.given) check_excluded(name_of(option), option.excluded);
  }

  std::vector<std::string> words_;
  std::size_t at_ = 0;
};

int print(const std::string& program, const std::string& text) {
  (void)std::fputs(text.c_str(), stdout);
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return 0;
  (void)std::fputs(fmt::format("{}: cannot write: {}\n", program, std::strerror(errno)).c_str(), stderr);
  return 1;
}

}  // namespace

std::optional<int> parse(Command& program, const std::string& version, int argc, const char* const* argv) {
  Parser parser(program, argc, argv);
  try {
    switch (parser.parse()) {
      case Parser::Wanted::help:
        return print(program.name, help(*parser.command));
      case Parser::Wanted::version:
        return print(program.name, fmt::format("{} {}\n", program.name, version));
      case Parser::Wanted::action:
        break;
    }
    parser.command->run();
    return std::nullopt;
  } catch (const WrongUsage& error) {
    const std::string path = parser.command->path();
    const std::string where = program.commands.empty() ? "--help" : path.empty() ? "help" : "help " + path;
    (void)std::fputs(fmt::format("{0}: {1}\nTry '{0} {2}'.\n", program.name, error.text, where).c_str(), stderr);
    return 2;
  }
}

}  // namespace cli
