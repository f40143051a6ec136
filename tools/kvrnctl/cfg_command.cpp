// SPDX-License-Identifier: MIT
// kvrnctl cfg: shows a configuration. The editing commands are in cfg_edit_command.cpp.
#include <fmt/core.h>
#include <kvrn/status.h>

#include <cstring>
#include <memory>

#include "cfg/list.hpp"
#include "tools/kvrnctl/cfg_command.hpp"
#include "tools/kvrnctl/format.hpp"

namespace kvrnctl {
namespace {

struct Query {
  std::string key;
  std::string type = "str";
  std::optional<std::string> fallback;
};

json entries_of(const cfg_entry* cfg, const std::string& prefix, bool reveal) {
  json list = json::array();
  int id = 0;
  for (const cfg_entry* entry = cfg; entry != nullptr; entry = entry->next) {
    const int place = id++;
    if (!std::string_view(entry->key).starts_with(prefix)) continue;
    list.push_back({{"id", place}, {"key", entry->key}, {"value", shown(entry->key, entry->value, reveal)}});
  }
  return list;
}

Result show(const CfgOptions& options, const std::string& prefix) {
  Result result;
  const CfgFile file = read_cfg_file(options.path);
  result.data["file"] = file.path;
  result.data["entries"] = entries_of(file.cfg.first(), prefix, options.reveal);
  for (const json& entry : result.data["entries"])
    result.text += fmt::format("{}={}\n", entry["key"].get<std::string>(), entry["value"].get<std::string>());
  return result;
}

// The result of a typed getter, or null when it returned its fallback: two calls with different fallbacks then differ.
template <typename Number, typename Getter>
json converted(Getter getter, const cfg_entry* cfg, const char* key) {
  const Number first = getter(cfg, Number{0}, "%s", key);
  const Number second = getter(cfg, Number{1}, "%s", key);
  return first == second ? json(first) : json(nullptr);
}

json value_of(const cfg_entry* cfg, const Query& query) {
  const char* key = query.key.c_str();
  if (query.type == "int") return converted<std::int32_t>(::get_int32, cfg, key);
  if (query.type == "uint") return converted<std::uint32_t>(::get_uint32, cfg, key);
  if (query.type == "int64") return converted<std::int64_t>(::get_int64, cfg, key);
  if (query.type == "bool") {
    const json number = converted<int>(::get_bool, cfg, key);
    return number.is_null() ? number : json(number == 1);
  }
  const char* value = ::get_value(cfg, nullptr, "%s", key);
  return value == nullptr ? json(nullptr) : json(value);
}

// The key of the entry that a lookup finds. It decides whether the value may be shown.
std::string found_key(const cfg_entry* cfg, const std::string& key) {
  cfg_entry* found = ::get_cfg_it(cfg, 1, "%s", key.c_str());
  std::string name = found == nullptr ? key : found->key;
  ::free_cfg_it(found);
  return name;
}

Result get(const CfgOptions& options, const Query& query) {
  Result result;
  check_key_length(query.key);
  const CfgFile file = read_cfg_file(options.path);
  const DeviceView view(file);
  json value = value_of(view.first(), query);
  if (!value.is_null() && is_password(found_key(view.first(), query.key)) && !options.reveal) value = hidden_value;
  const bool missing = value.is_null();
  if (missing && query.fallback) value = *query.fallback;
  result.data["key"] = query.key;
  result.data["value"] = value;
  result.data["is_default"] = missing && query.fallback;
  if (query.type == "uint" && value.is_number() && value != 0) {
    const std::string text = ::get_value(view.first(), "", "%s", query.key.c_str());
    if (text[text.find_first_not_of(" \t")] == '-')
      result.errors.push_back(fmt::format("'{}' is negative: read as uint it counts down from 2^32", query.key));
  }
  if (!value.is_null()) result.text = (value.is_string() ? value.get<std::string>() : value.dump()) + '\n';
  if (missing && !query.fallback)
    result.fail(Exit::failed, query.type == "str"
                                  ? fmt::format("no '{}' in {}", query.key, file.path)
                                  : fmt::format("no '{}' of type {} in {}", query.key, query.type, file.path));
  return result;
}

// The library leaves out entries when it has no memory. A second run with the same input shows whether this happened.
kvrn::List changes_between(const cfg_entry* before, const cfg_entry* after) {
  kvrn::List changes(::get_cfg_diff_it(before, after));
  if (!same_entries(changes.get(), kvrn::List(::get_cfg_diff_it(before, after)).get())) throw CfgError{"out of memory"};
  return kvrn::List(::sort_cfg(changes.release()));
}

Result diff(const Context& context, const CfgOptions& options, const std::string& before, const std::string& after) {
  Result result;
  const CfgFile old_file = read_cfg_file(before);
  const CfgFile new_file = read_cfg_file(after);
  const DeviceView old_view(old_file);
  const DeviceView new_view(new_file);
  const kvrn::List changes = changes_between(old_view.first(), new_view.first());
  std::string lines;
  int id = 0;
  // Build the document only when it is wanted: without memory, building it ends the program.
  if (context.json) result.data["changes"] = json::array();
  for (const cfg_entry* entry = changes.get(); entry != nullptr; entry = entry->next) {
    const char* was = ::get_value(old_view.first(), nullptr, "%s", entry->key);
    const std::string old_value = shown(entry->key, was, options.reveal);
    const std::string new_value = shown(entry->key, entry->value, options.reveal);
    if (was != nullptr) lines += fmt::format("-{}={}\n", entry->key, old_value);
    if (entry->value != nullptr) lines += fmt::format("+{}={}\n", entry->key, new_value);
    if (!context.json) continue;
    result.data["changes"].push_back({{"id", id++},
                                      {"key", entry->key},
                                      {"old", was == nullptr ? json() : json(old_value)},
                                      {"new", entry->value == nullptr ? json() : json(new_value)}});
  }
  if (!lines.empty()) result.text = fmt::format("--- {}\n+++ {}\n{}", before, after, lines);
  return result;
}

Result interface(const CfgOptions& options, const std::string& name) {
  Result result;
  const CfgFile file = read_cfg_file(options.path);
  char runtime[17] = "";
  const DeviceView view(file);
  ::getRuntimeInterface(view.first(), name.c_str(), runtime, 0);
  cfg_entry* named = ::get_cfg_any_section(view.first(), ".devname", 0, name.c_str(), "%s", "");
  if (named == nullptr)
    result.errors.push_back(fmt::format("no interface '{}' in {}: the name stands for itself", name, file.path));
  result.data["interface"] = name;
  result.data["configured"] = named != nullptr;
  ::free_cfg_it(named);
  result.data["runtime"] = runtime;
  result.text = std::string(runtime) + '\n';
  return result;
}

}  // namespace

std::string shown(std::string_view key, const char* value, bool reveal) {
  if (value == nullptr) return "";
  return is_password(key) && !reveal ? std::string(hidden_value) : std::string(value);
}

void check_key_length(const std::string& key) {
  constexpr std::size_t longest_pattern = 255;
  if (key.size() > longest_pattern)
    throw CfgError{fmt::format("a key that is looked for has at most {} characters", longest_pattern)};
}

Action guarded(std::function<Result(const Context&)> action) {
  return [action = std::move(action)](const Context& context) {
    try {
      return action(context);
    } catch (const CfgError& error) {
      Result result;
      result.fail(Exit::failed, error.text);
      return result;
    }
  };
}

cli::Command& add_cfg(cli::Command& parent, const char* name, const char* description, CfgOptions& options) {
  cli::Command& command = parent.command(name, description);
  command.option("--file F", &options.path, "The configuration file");
  command.flag("--reveal", options.reveal, "Show passwords");
  return command;
}

void add_cfg_commands(CommandLine& line) {
  cli::Command& cfg = line.add("cfg", "The device configuration: show, query, edit");
  const auto options = std::make_shared<CfgOptions>();
  const auto words = std::make_shared<std::array<std::string, 2>>();
  const auto query = std::make_shared<Query>();

  cli::Command& all = add_cfg(cfg, "show", "The entries, in the order of the file", *options);
  all.argument("[PREFIX]", &(*words)[0], "Only keys that begin so");
  all.action([=, &line] { line.action = guarded([=](const Context&) { return show(*options, (*words)[0]); }); });

  cli::Command& one = add_cfg(cfg, "get", "One value", *options);
  one.argument("KEY", &query->key, "The key; letters of both cases are equal, numbers compare by value");
  one.option("--type", &query->type, "How the value is read").choice({"str", "bool", "int", "uint", "int64"});
  one.option("--default D", &query->fallback, "Printed when there is no such value");
  one.action([=, &line] { line.action = guarded([=](const Context&) { return get(*options, *query); }); });

  cli::Command& two = add_cfg(cfg, "diff", "What changed between two files, by key", *options);
  two.argument("OLD", &(*words)[0], "The file before");
  two.argument("NEW", &(*words)[1], "The file after");
  two.action([=, &line] {
    line.action = guarded([=](const Context& context) { return diff(context, *options, (*words)[0], (*words)[1]); });
  });

  cli::Command& carrier =
      add_cfg(cfg, "interface", "The interface that carries the traffic of a configured one", *options);
  carrier.argument("NAME", &(*words)[0], "Device name, such as br0");
  carrier.action(
      [=, &line] { line.action = guarded([=](const Context&) { return interface(*options, (*words)[0]); }); });
  add_cfg_edit_commands(line, cfg, options);
}

}  // namespace kvrnctl
