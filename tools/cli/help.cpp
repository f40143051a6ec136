// SPDX-License-Identifier: MIT
#include "tools/cli/help.hpp"

#include <fmt/core.h>

#include <algorithm>

namespace cli {

const char* const help_names = "-h, --help";
const char* const version_names = "-V, --version";

namespace {

constexpr std::size_t columns = 80;

// Appends words from column `at` on, in lines that begin at column `indent`.
void fold(std::string& out, std::size_t at, std::size_t indent, const std::vector<std::string>& words) {
  bool first = true;
  for (const std::string& word : words) {
    if (!first && at + 1 + word.size() >= columns) {
      out += '\n' + std::string(indent, ' ');
      at = indent;
    } else if (!first) {
      out += ' ';
      ++at;
    }
    out += word;
    at += word.size();
    first = false;
  }
  out += '\n';
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> words;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(separator, at), text.size());
    if (end > at) words.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return words;
}

struct Row {
  std::string head;
  std::string text;
};

// Heads in a column, texts beside them; a long head has a line of its own.
void add_rows(std::string& out, const char* title, const std::vector<Row>& rows) {
  constexpr std::size_t widest = 18;
  if (rows.empty()) return;
  std::size_t width = 0;
  for (const Row& row : rows)
    if (row.head.size() <= widest) width = std::max(width, row.head.size());
  out += fmt::format("\n{}:\n", title);
  for (const Row& row : rows) {
    out += "  " + row.head;
    if (row.head.size() > width)
      out += '\n' + std::string(width + 4, ' ');
    else
      out += std::string(width - row.head.size() + 2, ' ');
    fold(out, width + 4, width + 4, split(row.text, ' '));
  }
}

// The text with the bounds and what it is when nobody says.
std::string text_of(const Option& option) {
  std::string more;
  if (option.least)
    more = fmt::format("{} to {}{}{}", *option.least, *option.most, option.unit.empty() ? "" : " ", option.unit);
  if (!option.initial.empty()) more += fmt::format("{}default {}", more.empty() ? "" : ", ", option.initial);
  return more.empty() ? option.text : fmt::format("{} ({})", option.text, more);
}

std::string head_of(const Option& option) {
  std::string head;
  for (const std::string& name : option.names) head += (head.empty() ? "" : ", ") + name;
  return option.is_flag() ? head : head + ' ' + option.value_name();
}

std::string usage(const Command& command) {
  std::vector<std::string> words{"usage:", command.root().name};
  for (const std::string& word : split(command.path(), ' ')) words.push_back(word);
  for (const Option& argument : command.arguments) {
    const std::string name = argument.value_name() + (argument.takes_many() ? "..." : "");
    words.push_back(argument.required ? name : '[' + name + ']');
  }
  if (!command.commands.empty()) words.push_back(command.run ? "[COMMAND ...]" : "COMMAND ...");
  for (const Option& option : command.options)
    words.push_back(option.is_flag() ? '[' + option.names.back() + ']'
                                     : fmt::format("[{} {}]", option.names.back(), option.value_name()));
  std::string out;
  fold(out, 0, 7, words);
  return out;
}

}  // namespace

std::string help(const Command& command) {
  std::string out = usage(command) + '\n';
  fold(out, 0, 0, split(command.text + '.', ' '));
  std::vector<Row> rows;
  for (const Command& below : command.commands) rows.push_back({below.name, below.text});
  if (command.parent == nullptr && !rows.empty()) rows.push_back({"help", "Help for a command"});
  add_rows(out, "Commands", rows);
  rows.clear();
  for (const Option& argument : command.arguments) rows.push_back({argument.value_name(), text_of(argument)});
  add_rows(out, "Arguments", rows);
  rows.clear();
  for (const Command* owner = &command; owner != nullptr; owner = owner->parent)
    for (const Option& option : owner->options)
      if (std::ranges::find(option.names, command.excluded) == option.names.end())
        rows.push_back({head_of(option), text_of(option)});
  rows.push_back({help_names, "Print this help"});
  if (command.parent == nullptr) rows.push_back({version_names, "Print the version"});
  add_rows(out, "Options", rows);
  if (!command.below.empty()) {
    out += '\n';
    for (const std::string& paragraph : split(command.below, '\n')) fold(out, 0, 0, split(paragraph, ' '));
  }
  return out;
}

}  // namespace cli
