// SPDX-License-Identifier: MIT
// The commands that change a configuration file. Each command reads the file under a lock, edits the entries with the
// library, checks that the new text gives these entries when it is read back, and replaces the file.
#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <iterator>
#include <unordered_map>
#include <vector>

#include "cfg/list.hpp"
#include "tools/kvrnctl/cfg_command.hpp"
#include "tools/kvrnctl/format.hpp"

namespace kvrnctl {
namespace {

// What an edit reports.
struct Done {
  std::string text;
  std::string unchanged = "unchanged";
  bool passwords = false;  // the edit changes how passwords are written, not the entries
};
using Edit = std::function<Done(Cfg&)>;

// A line with its real text, which is compared, and with the text that may be shown.
struct Line {
  std::string real;
  std::string shown;
};
constexpr std::size_t unpaired = SIZE_MAX;

std::vector<Line> lines_of(const cfg_entry* cfg, bool reveal) {
  std::vector<Line> lines;
  for (; cfg != nullptr; cfg = cfg->next)
    lines.push_back({fmt::format("{}={}", cfg->key, shown(cfg->key, cfg->value, true)),
                     fmt::format("{}={}", cfg->key, shown(cfg->key, cfg->value, reveal))});
  return lines;
}

// The position of each line in the other text. Equal lines are paired in their order.
std::vector<std::size_t> pair_lines(const std::vector<Line>& lines, const std::vector<Line>& other) {
  std::unordered_map<std::string_view, std::deque<std::size_t>> places;
  for (std::size_t i = 0; i < other.size(); ++i) places[other[i].real].push_back(i);
  std::vector<std::size_t> paired;
  for (const Line& line : lines) {
    std::deque<std::size_t>& left = places[line.real];
    paired.push_back(left.empty() ? unpaired : left.front());
    if (!left.empty()) left.pop_front();
  }
  return paired;
}

// Keeps the longest rising sequence of positions. All other lines were moved: they are marked as unpaired.
void keep_rising(std::vector<std::size_t>& paired) {
  std::vector<std::size_t> ends;                             // for each length of a rising sequence, the lowest end
  std::vector<std::size_t> before(paired.size(), unpaired);  // the previous line of the sequence
  for (std::size_t i = 0; i < paired.size(); ++i) {
    if (paired[i] == unpaired) continue;
    const auto place = std::ranges::lower_bound(ends, paired[i], {}, [&](std::size_t end) { return paired[end]; });
    if (place != ends.begin()) before[i] = *std::prev(place);
    if (place == ends.end())
      ends.push_back(i);
    else
      *place = i;
  }
  std::vector<std::size_t> kept(paired.size(), unpaired);
  for (std::size_t i = ends.empty() ? unpaired : ends.back(); i != unpaired; i = before[i]) kept[i] = paired[i];
  paired = std::move(kept);
}

// The lines that change, in the order of the file.
std::string line_diff(const std::vector<Line>& before, const std::vector<Line>& after) {
  std::vector<std::size_t> paired = pair_lines(before, after);
  keep_rising(paired);
  std::string text;
  std::size_t at = 0;
  const auto add_up_to = [&](std::size_t end) {
    for (; at < end; ++at) text += '+' + after[at].shown + '\n';
  };
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (paired[i] == unpaired) {
      text += '-' + before[i].shown + '\n';
    } else {
      add_up_to(paired[i]);
      ++at;
    }
  }
  add_up_to(after.size());
  return text;
}

void warn_plain_passwords(const Context& context, const cfg_entry* cfg) {
  for (const cfg_entry* entry = cfg; entry != nullptr; entry = entry->next) {
    if (!is_password(entry->key)) continue;
    const char* key = entry->key;
    const char* value = entry->value == nullptr ? "" : entry->value;
    ::adv_vento_cfg_encrypt(&key, &value);
    if (key == entry->key)
      context.warn(fmt::format("the password of '{}' is too long to be protected: it stays plain", key));
  }
}

// When the library has no memory, it leaves out a value or a new name without an error. The same edit of a second copy
// shows whether this happened.
Done apply(const Edit& edit, CfgFile& file) {
  Cfg twin = parse_cfg_text(file.text);
  Done done = edit(file.cfg);
  (void)edit(twin);
  if (!same_entries(file.cfg.first(), twin.first())) throw CfgError{"out of memory"};
  return done;
}

std::size_t protected_lines(std::string_view text) {
  std::size_t count = 0;
  for (; !text.empty(); text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1))
    count += text.starts_with("~META~") ? 1 : 0;
  return count;
}

Result edit_file(const Context& context, const CfgOptions& options, bool protect, const Edit& edit) {
  Result result;
  std::optional<CfgLock> lock;
  CfgFile file = read_cfg_file(editable_path(options.path));
  if (!options.dry_run) {
    lock.emplace(file.path);
    file = read_cfg_file(file.path);  // again: another editor may have changed it before the lock
  }
  const auto before = lines_of(file.cfg.first(), options.reveal);
  Done done = apply(edit, file);
  const std::string text = cfg_text(file.cfg.first(), protect);
  const std::string changes = line_diff(before, lines_of(file.cfg.first(), options.reveal));
  bool changed = !changes.empty();
  if (done.passwords) {
    const auto was = static_cast<std::ptrdiff_t>(protected_lines(file.text));
    const auto count = std::abs(static_cast<std::ptrdiff_t>(protected_lines(text)) - was);
    changed = count != 0;
    done.text = fmt::format("{} password{} {}", count, count == 1 ? "" : "s", done.text);
  }
  if (!changed) done.text = done.unchanged;
  // Build the document only when it is wanted: its destructor needs memory, and without memory it ends the program.
  if (context.json)
    result.data = {{"file", file.path}, {"dry_run", options.dry_run}, {"result", done.text}, {"diff", changes}};
  result.text = done.text + '\n';
  if (options.dry_run && changed) result.text = changes.empty() ? "dry run: " + result.text : changes;
  if (protect && (changed || done.passwords)) warn_plain_passwords(context, file.cfg.first());
  if (!changed) return result;
  if (const auto loss = loss_in(file.cfg.first(), text)) throw CfgError{file.path + ": " + *loss};
  const Dropped dropped = dropped_by_edit(file.text);
  if (dropped.total() != 0 && !options.force)
    throw CfgError{fmt::format("{}: {} would be lost; --force drops them", file.path, dropped.text())};
  if (!options.dry_run) replace_file(file.path, text, options.backup);
  if (dropped.total() != 0)
    context.warn(fmt::format("{}: {} {} lost", file.path, dropped.text(), options.dry_run ? "would be" : "are"));
  return result;
}

// The library cannot append to an empty configuration, so the first entry is parsed from a line.
Done first_entry(Cfg& cfg, const std::string& key, const std::string& value) {
  cfg = parse_cfg_text(key + '=' + value + '\n');
  const cfg_entry* first = cfg.first();
  if (first == nullptr || first->key != key || first->value != value || first->next != nullptr)
    throw CfgError{fmt::format("'{}' would be lost: as a line it reads differently", key)};
  return {"appended"};
}

Done set_value(Cfg& cfg, const std::string& key, const std::string& value) {
  check_key_length(key);
  if (cfg.first() == nullptr) return first_entry(cfg, key, value);
  // The library trims keys when it reads a file: the stored key would differ from the given one.
  if (const Cfg line = parse_cfg_text(key + "=\n");
      line.first() != nullptr && line.first()->key != key && key[0] != '#' && key.find('=') == std::string::npos)
    throw CfgError{fmt::format(
        "'{}' would be lost: blanks or unprintable characters at its ends are dropped when it is read", key)};
  return ::update_value(cfg.first(), value.c_str(), "%s", key.c_str()) == 1 ? Done{"appended"} : Done{"changed"};
}

Done add_value(Cfg& cfg, const std::string& key, const std::string& value) {
  if (cfg.first() == nullptr) return first_entry(cfg, key, value);
  if (::add_str_value(cfg.first(), value.c_str(), "%s", key.c_str()) != 0) throw CfgError{"out of memory"};
  return {"appended"};
}

Done delete_keys(Cfg& cfg, const std::string& key, bool prefix) {
  check_key_length(key);
  const int deleted = ::cfg_del_key(&cfg.first(), prefix ? 0 : 1, "%s", key.c_str());
  if (deleted == 0) throw CfgError{fmt::format("no key {} '{}'", prefix ? "begins with" : "is", key)};
  return {fmt::format("{} deleted", deleted)};
}

Done sort_entries(Cfg& cfg) {
  cfg.first() = ::sort_cfg(cfg.first());
  return {"sorted"};
}

Done renumber(Cfg& cfg, const std::string& prefix, int position) {
  check_key_length(prefix);
  ::fix_cfg_idx(cfg.first(), "%s", position, prefix.c_str());
  return {"renumbered", "nothing to renumber"};
}

Done passwords(const Cfg&, std::string_view state) { return {.text = std::string(state), .passwords = true}; }

void add_plain_passwords(const std::string& text, std::vector<std::string>& findings) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const Cfg line = parse_cfg_text(text.substr(at, end - at));
    const bool sealed = text.compare(at, 6, "~META~") == 0;
    if (!sealed && line.first() != nullptr && is_password(line.first()->key))
      findings.push_back(fmt::format("the password of '{}' is not protected", line.first()->key));
    at = end + 1;
  }
}

void add_duplicates(const cfg_entry* cfg, std::vector<std::string>& findings) {
  const kvrn::List sorted(::sort_cfg(::get_cfg_it(cfg, 0, "%s", "")));
  if (::get_cfg_count(sorted.get()) != ::get_cfg_count(cfg)) throw CfgError{"out of memory"};
  for (const cfg_entry* entry = sorted.get(); entry != nullptr && entry->next != nullptr; entry = entry->next) {
    cfg_entry single{entry->next->key, nullptr, nullptr, nullptr};
    if (::exist_cfg_it(&single, 1, "%s", entry->key) != 0)
      findings.push_back(
          fmt::format("'{}' stands more than once; the last counts, unless one is the first line", entry->key));
  }
}

// Finds everything in a file that an edit would lose, or that a reader could misunderstand.
Result check(const Context& context, const CfgOptions& options) {
  Result result;
  const CfgFile file = read_cfg_file(options.path);
  std::vector<std::string> findings;
  if (const Dropped dropped = dropped_by_edit(file.text); dropped.total() != 0) findings.push_back(dropped.text());
  for (const cfg_entry* entry = file.cfg.first(); entry != nullptr; entry = entry->next)
    if (std::string_view(entry->key).starts_with("~META~"))
      findings.push_back("a protected entry that cannot be opened");
  add_plain_passwords(file.text, findings);
  add_duplicates(file.cfg.first(), findings);
  if (const auto loss = loss_in(file.cfg.first(), cfg_text(file.cfg.first(), true))) findings.push_back(*loss);
  if (context.json) result.data = {{"file", file.path}, {"findings", findings}};
  for (const std::string& finding : findings) result.text += finding + '\n';
  if (!findings.empty()) result.fail(Exit::failed, fmt::format("{}: {} findings", file.path, findings.size()));
  return result;
}

struct Words {
  std::string key;
  std::string value;
  bool prefix = false;
  int position = 1;
};

}  // namespace

void add_cfg_edit_commands(CommandLine& line, cli::Command& cfg, const std::shared_ptr<CfgOptions>& options) {
  const auto words = std::make_shared<Words>();
  const auto add = [&](const char* name, const char* description, bool protect, const Edit& edit) -> cli::Command& {
    cli::Command& command = add_cfg(cfg, name, description, *options);
    command.flag("--dry-run", options->dry_run, "Print the changes and leave the file");
    command.flag("--backup", options->backup, "Keep the old file as FILE.bak");
    command.flag("--force", options->force, "Drop comments and lines without '='");
    command.action([&line, options, protect, edit] {
      line.action = guarded([=](const Context& context) { return edit_file(context, *options, protect, edit); });
    });
    return command;
  };
  const auto add_words = [words](cli::Command& command) {
    command.argument("KEY", &words->key, "The key");
    command.argument("VALUE", &words->value, "Its value");
  };
  add_words(add("set", "Give a key a value; append it when it is missing", true,
                [words](Cfg& edited) { return set_value(edited, words->key, words->value); }));
  add_words(add("add", "Append an entry, whether the key exists or not", true,
                [words](Cfg& edited) { return add_value(edited, words->key, words->value); }));
  cli::Command& removal = add("delete", "Delete a key", true,
                              [words](Cfg& edited) { return delete_keys(edited, words->key, words->prefix); });
  removal.flag("--prefix", words->prefix, "Delete every key that begins with KEY");
  removal.argument("KEY", &words->key, "The key");
  add("sort", "Sort the entries by key", true, sort_entries);
  cli::Command& gaps = add("renumber", "Close the gaps in the index numbers of keys: PREFIX3.x becomes PREFIX1.x", true,
                           [words](Cfg& edited) { return renumber(edited, words->key, words->position); });
  gaps.argument("PREFIX", &words->key, "Such as \"users.\"");
  gaps.argument("[N]", &words->position, "Which index number of the key").range(1, 100);
  add("protect", "Protect user passwords in the file", true,
      [](Cfg& edited) { return passwords(edited, "protected"); });
  add("reveal", "Write user passwords in plain", false, [](Cfg& edited) { return passwords(edited, "in plain text"); });
  add_cfg(cfg, "check", "What is odd about the file", *options).action([&line, options] {
    line.action = guarded([=](const Context& context) { return check(context, *options); });
  });
}

}  // namespace kvrnctl
