// SPDX-License-Identifier: MIT
#include <fmt/core.h>

#include <array>
#include <charconv>
#include <memory>

#include "tools/kvrnctl/command.hpp"
#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

struct Section {
  std::string_view name;
  json (*make)(std::vector<std::string>& errors);
};

json board(std::vector<std::string>&) { return board_section(); }
json psus(std::vector<std::string>& errors) { return psu_list(read_psus(Source::automatic), false, errors); }
json batteries(std::vector<std::string>& errors) { return psu_list(read_psus(Source::automatic), true, errors); }

constexpr std::array sections{Section{"board", board}, Section{"psu", psus}, Section{"battery", batteries}};

std::vector<std::string> split(const std::string& path) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t dot; (dot = path.find('.', start)) != std::string::npos; start = dot + 1)
    parts.push_back(path.substr(start, dot - start));
  parts.push_back(path.substr(start));
  return parts;
}

// The member of an object, or the entry of an array with that id.
const json* step(const json& from, const std::string& name) {
  if (from.is_object()) {
    const auto found = from.find(name);
    return found == from.end() ? nullptr : &*found;
  }
  if (from.is_array())
    for (const json& entry : from)
      if (entry.is_object() && entry.contains("id") && entry["id"].dump() == name) return &entry;
  return nullptr;
}

std::string bare(const json& value) {
  if (value.is_null()) return "unknown";
  if (value.is_string()) return value.get<std::string>();
  return value.dump();
}

// An object or array as lines "path=value".
void flatten(const std::string& path, const json& value, std::string& text) {
  if (!value.is_structured()) {
    text += fmt::format("{}={}\n", path, bare(value));
    return;
  }
  std::size_t index = 0;
  for (const auto& [key, member] : value.items()) {
    const bool has_id = value.is_array() && member.is_object() && member.contains("id");
    const std::string name = has_id ? member["id"].dump() : value.is_array() ? std::to_string(index) : key;
    flatten(path + '.' + name, member, text);
    ++index;
  }
}

std::string names(const json& from) {
  std::string list;
  for (const auto& [key, member] : from.items())
    list += (list.empty() ? "" : ", ") + (from.is_array() && member.contains("id") ? member["id"].dump() : key);
  return list;
}

// Whether another board may have what is missing here: an entry of a list, or a value that this board does not measure.
bool may_be_elsewhere(const json& at, const std::string& name) {
  constexpr std::array optional{"output_voltage_mv", "output_current_ma", "temperature_c", "cells",
                                "block_51",          "block_55"};
  if (at.is_object()) return std::ranges::find(optional, name) != optional.end();
  const bool canonical = name == "0" || (!name.empty() && name[0] != '0');
  return canonical && name.find_first_not_of("0123456789") == std::string::npos;
}

Result get(const std::string& path) {
  Result result;
  result.data["path"] = path;
  result.data["value"] = nullptr;
  const std::vector<std::string> parts = split(path);
  const auto* const section =
      std::ranges::find_if(sections, [&](const Section& entry) { return entry.name == parts[0]; });
  if (section == sections.end()) {
    result.fail(Exit::usage, fmt::format("no section '{}': there are board, psu and battery", parts[0]));
    return result;
  }
  std::vector<std::string> errors;  // of the whole section: worth saying only when the value is missing
  const json root = section->make(errors);
  const json* at = &root;
  std::string walked = parts[0];
  for (std::size_t i = 1; i < parts.size(); ++i) {
    const json* next = step(*at, parts[i]);
    if (next == nullptr) {
      // A number that is missing from a list is a thing that this board lacks; a wrong name is wrong anywhere.
      result.fail(may_be_elsewhere(*at, parts[i]) ? Exit::not_on_this_board : Exit::usage,
                  fmt::format("no '{}' in {}: there is {}", parts[i], walked, at->empty() ? "nothing" : names(*at)));
      return result;
    }
    at = next;
    walked += '.' + parts[i];
  }
  result.data["value"] = *at;
  if (at->is_structured())
    flatten(path, *at, result.text);
  else
    result.text = bare(*at) + '\n';
  if (at->is_null()) {
    result.errors = std::move(errors);
    result.fail(Exit::failed, fmt::format("{} is unknown; \"kvrnctl doctor\" may say why", path));
  }
  return result;
}

}  // namespace

void add_get_command(CommandLine& line) {
  const auto path = std::make_shared<std::string>();
  cli::Command& command = line.add("get", "Print one value, bare: get psu.2.voltage_mv");
  command.footer(
      "A path names a section, the id of an entry and a key, as the JSON documents have them: "
      "board.model, psu.2.voltage_mv, battery.3.cells.1.voltage_mv. A shorter path prints lines \"path=value\".");
  command.argument("PATH", path.get(), "Where the value is");
  command.action([&line, path] { line.action = [=](const Context&) { return get(*path); }; });
}

}  // namespace kvrnctl
