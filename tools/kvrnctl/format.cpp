// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/format.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>

namespace kvrnctl {
namespace {

struct Unit {
  std::string_view suffix;  // of a key
  std::string_view name;
  double scale;  // divides the value
  int decimals;
};

constexpr std::array units{
    Unit{"_mv", "V", 1000, 3}, Unit{"_ma", "A", 1000, 3},     Unit{"_mw", "W", 1000, 1},
    Unit{"_uw", "W", 1e6, 3},  Unit{"_pct", "%", 1, 1},       Unit{"_c", "°C", 1, 0},
    Unit{"_mah", "mAh", 1, 0}, Unit{"_bytes", "bytes", 1, 0}, Unit{"_s", "s", 1, 0},
};

const Unit* unit_of(std::string_view key) {
  const auto found = std::ranges::find_if(units, [&](const Unit& unit) { return key.ends_with(unit.suffix); });
  return found == units.end() ? nullptr : &*found;
}

std::string duration(std::int64_t seconds) {
  if (seconds < 60) return fmt::format("{} s", seconds);
  if (seconds < 3600) return fmt::format("{} min", seconds / 60);
  return fmt::format("{} h {:02} min", seconds / 3600, seconds / 60 % 60);
}

// Columns that a terminal needs: escape sequences none, a UTF-8 character one.
std::size_t width(std::string_view text) {
  std::size_t columns = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\033') {
      i = std::min(text.find('m', i), text.size() - 1);
    } else if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
      ++columns;
    }
  }
  return columns;
}

std::string padded(const std::string& text, std::size_t columns) {
  return text + std::string(columns - std::min(columns, width(text)), ' ');
}

void trim_right(std::string& text) { text.erase(text.find_last_not_of(' ') + 1); }

}  // namespace

std::string humanize(std::string_view key, const json& value) {
  if (value.is_null()) return "unknown";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) return value.get<std::string>();
  if (!value.is_number()) return value.dump();
  const Unit* unit = unit_of(key);
  if (unit == nullptr) return value.dump();
  if (unit->suffix == "_s" && value.is_number_integer()) return duration(value.get<std::int64_t>());
  return fmt::format("{:.{}f} {}", value.get<double>() / unit->scale, unit->decimals, unit->name);
}

std::string label(std::string_view key) {
  if (const Unit* unit = unit_of(key)) key.remove_suffix(unit->suffix.size());
  std::string text(key);
  std::ranges::replace(text, '_', ' ');
  for (const std::string_view upper : {"mac", "mtu", "soc", "id", "led", "psu", "poe"})
    if (text == upper || text.starts_with(std::string(upper) + ' ') || text.ends_with(' ' + std::string(upper))) {
      const std::size_t at = text.starts_with(upper) ? 0 : text.size() - upper.size();
      std::ranges::transform(text.begin() + static_cast<long>(at), text.begin() + static_cast<long>(at + upper.size()),
                             text.begin() + static_cast<long>(at), [](unsigned char c) { return std::toupper(c); });
    }
  if (!text.empty()) text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
  return text;
}

std::string painted(const Context& context, Color color, std::string_view text) {
  constexpr std::array<std::string_view, 5> codes{"", "32", "33", "31", "2"};
  const auto code = codes[static_cast<std::size_t>(color)];
  if (!context.color || code.empty()) return std::string(text);
  return fmt::format("\033[{}m{}\033[0m", code, text);
}

std::string Table::text() const {
  std::vector<std::size_t> columns;
  for (const auto& row : rows_)
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (columns.size() <= i) columns.push_back(0);
      columns[i] = std::max(columns[i], width(row[i]));
    }
  std::string text;
  for (const auto& row : rows_) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) line += padded(row[i], columns[i] + 2);
    trim_right(line);
    text += line + '\n';
  }
  return text;
}

std::string fields(const json& object, std::string_view indent) {
  std::size_t columns = 0;
  for (const auto& [key, value] : object.items())
    if (!value.is_structured()) columns = std::max(columns, width(label(key)));
  std::string text;
  for (const auto& [key, value] : object.items())
    if (!value.is_structured())
      text += fmt::format("{}{}  {}\n", indent, padded(label(key), columns), humanize(key, value));
  return text;
}

}  // namespace kvrnctl
