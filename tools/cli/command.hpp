// SPDX-License-Identifier: MIT
// The command line as a tree: commands declare their options and arguments, and what to do. Words are matched, values
// checked and the help written from these declarations alone. getopt_long() has no commands, accepts the beginning of a
// name and treats a negative number as an option, so it would replace almost nothing here. The monitor has only a few
// options and no C++ run time: it uses getopt_long().
#pragma once

#include <functional>
#include <list>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace cli {

// What the user wrote makes no sense; actions throw it too. The text is a line without the program's name.
struct WrongUsage {
  std::string text;
};

// Where the value goes: a flag, numbers, a text, or every word that is left.
using Target = std::variant<bool*, int*, unsigned*, double*, std::string*, std::optional<int>*, std::optional<double>*,
                            std::optional<std::string>*, std::vector<std::string>*>;

// An option or an argument. The bounds belong to numbers; an int without them is any int.
struct Option {
  std::vector<std::string> names;  // "-v", "--verbose"; an argument has its placeholder
  std::string placeholder;         // empty for a flag
  Target target;
  std::string text;
  std::string initial;    // what it is when nobody says; for the help
  bool required = false;  // arguments alone
  bool counts = false;    // a flag that may stand more than once
  std::optional<double> least, most;
  std::string unit;
  std::vector<std::string> choices;
  std::function<std::string(const std::string&)> wrong;  // a line about a text that is refused, else empty
  std::string excluded;                                  // another option that it does not go with
  bool given = false;

  Option& range(double low, double high, std::string of_unit = "");
  Option& choice(std::vector<std::string> words);
  Option& check(std::function<std::string(const std::string&)> what_is_wrong);
  Option& excludes(std::string name);

  bool is_flag() const { return placeholder.empty(); }
  bool takes_many() const { return std::holds_alternative<std::vector<std::string>*>(target); }
  // What stands for the value in a line of usage: a few choices stand for themselves.
  std::string value_name() const;
};

struct Command {
  Command(std::string word, std::string about) : name(std::move(word)), text(std::move(about)) {}
  Command(const Command&) = delete;

  // A command below this one. It has this one's options too.
  Command& command(std::string word, std::string about);
  Command& alias(std::string other_name);
  // "--json", or "-v,--verbose".
  Option& flag(const char* names, bool& on, std::string about);
  Option& counter(const char* names, int& times, std::string about);
  // "--period S"; with a choice, the words stand for the value.
  Option& option(const char* names_and_value, Target target, std::string about);
  // "LINE", "[N]" when it may be missing; "WORD..." and "[WORD...]" go with a vector.
  Option& argument(const char* placeholder, Target target, std::string about);
  // Stands below the help, a paragraph a line.
  Command& footer(std::string about);
  // An option of a command above that this one does not go with.
  Command& excludes(std::string option);
  // A command without an action needs one of those below it.
  Command& action(std::function<void()> job);

  std::string name;
  std::string text;
  std::string other_name;
  std::string below;
  std::string excluded;
  std::list<Option> options;
  std::list<Option> arguments;
  std::list<Command> commands;
  std::function<void()> run;
  Command* parent = nullptr;

  const Command& root() const { return parent == nullptr ? *this : parent->root(); }
  // "gpio set"; empty for the program itself.
  std::string path() const;
};

// Finds the command and runs its action. Help and the version go to standard output; a line about wrong usage, and one
// that says where help is, to standard error, both with the program's name.
// @return the status to end with, 0, 1 (standard output cannot be written) or 2 (wrong usage); nothing after an action
std::optional<int> parse(Command& program, const std::string& version, int argc, const char* const* argv);

}  // namespace cli
