// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/format.hpp"

#include <fmt/core.h>
#include <sys/ioctl.h>
#include <unistd.h>

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

// The number of terminal columns of a text. An escape sequence needs none, a UTF-8 character needs one.
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

// Whether a text ends in the terminal's default colour.
bool is_plain_at_end(std::string_view text) {
  const std::size_t escape = text.rfind('\033');
  return escape == std::string_view::npos || text.substr(escape).starts_with("\033[0m");
}

// Whether the first text ends with a number and the second begins with its unit, as in "53.800 V".
bool is_value(std::string_view before, std::string_view text) {
  const std::string_view word = text.substr(0, text.find(' '));
  const bool number = !before.empty() && std::isdigit(static_cast<unsigned char>(before.back())) != 0;
  return number && std::ranges::find(units, word, &Unit::name) != units.end();
}

// The words of a text, each with the spaces after it. A path may break after a slash. A value must not break before its
// unit. Coloured text must not break either: its colour would continue in the next column.
std::vector<std::string_view> pieces(std::string_view text) {
  std::vector<std::string_view> found;
  for (std::size_t next = 0; !text.empty();) {
    next = std::min(text.find_first_of(" /", next + 1), text.size() - 1) + 1;
    const std::string_view word = text.substr(0, text.find_last_not_of(' ', next - 1) + 1);
    if (text[next - 1] == ' ') next = std::min(text.find_first_not_of(' ', next), text.size());
    if (next < text.size() && (!is_plain_at_end(word) || is_value(word, text.substr(next)))) continue;
    found.push_back(text.substr(0, next));
    text.remove_prefix(next);
    next = 0;
  }
  return found;
}

std::size_t bare_width(std::string_view piece) { return width(piece.substr(0, piece.find_last_not_of(' ') + 1)); }

// Breaks a text into lines of at most `columns` columns. A wider piece gets its own line.
std::vector<std::string> wrapped(std::string_view text, std::size_t columns) {
  std::vector<std::string> lines(1);
  for (const std::string_view piece : pieces(text)) {
    if (!lines.back().empty() && width(lines.back()) + bare_width(piece) > columns) lines.emplace_back();
    lines.back() += piece;
  }
  std::ranges::for_each(lines, trim_right);
  return lines;
}

// A column of a table: its current width, the width of its widest piece, and the widths of its cells.
struct Column {
  std::size_t width = 0;
  std::size_t least = 0;
  std::vector<std::size_t> cells;

  // How many cells would fold if the column were narrower by one.
  auto folding() const {
    return std::ranges::count_if(cells, [this](std::size_t cell) { return cell >= width; });
  }
  bool gives_before(const Column& other) const {
    const auto mine = folding();
    const auto others = other.folding();
    return mine != others ? mine < others : width > other.width;
  }
};

// Narrows columns until a row fits, first those in which the fewest cells fold. No column gets narrower than its widest
// piece.
void shrink(std::vector<Column>& columns, std::size_t space) {
  while (true) {
    std::size_t sum = 0;
    Column* next = nullptr;
    for (Column& column : columns) {
      sum += column.width;
      if (column.width > column.least && (next == nullptr || column.gives_before(*next))) next = &column;
    }
    if (sum <= space || next == nullptr) return;
    --next->width;
  }
}

constexpr std::size_t column_gap = 2;

}  // namespace

std::size_t terminal_columns() {
  winsize size{};
  return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::string folded(std::string_view text, std::size_t indent) {
  const std::size_t columns = terminal_columns();
  const std::string margin(indent, ' ');
  std::string out;
  for (const std::string& line : wrapped(text, columns > indent ? columns - indent : 1))
    out += (out.empty() ? "" : margin) + line + '\n';
  return out;
}

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
  for (const std::string_view name : {"MAC", "MTU", "SoC", "ID", "LED", "PSU", "PoE"}) {
    std::string word(name);
    std::ranges::transform(word, word.begin(), [](unsigned char c) { return std::tolower(c); });
    if (text == word || text.starts_with(word + ' ') || text.ends_with(' ' + word))
      text.replace(text.starts_with(word) ? 0 : text.size() - word.size(), word.size(), name);
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
  std::vector<Column> columns(rows_[0].size());
  for (const auto& row : rows_)
    for (std::size_t i = 0; i < row.size(); ++i) {
      Column& column = columns[i];
      column.cells.push_back(width(row[i]));
      column.width = std::max(column.width, column.cells.back());
      for (const std::string_view piece : pieces(row[i])) column.least = std::max(column.least, bare_width(piece));
    }
  const std::size_t gaps = column_gap * (columns.size() - 1);
  shrink(columns, std::max(terminal_columns(), gaps) - gaps);
  std::string text;
  for (const auto& row : rows_) {
    std::vector<std::vector<std::string>> cells;
    std::size_t height = 1;
    for (std::size_t i = 0; i < row.size(); ++i) {
      cells.push_back(wrapped(row[i], columns[i].width));
      height = std::max(height, cells.back().size());
    }
    for (std::size_t k = 0; k < height; ++k) {
      std::string line;
      for (std::size_t i = 0; i < row.size(); ++i)
        line += padded(k < cells[i].size() ? cells[i][k] : "", columns[i].width + column_gap);
      trim_right(line);
      text += line + '\n';
    }
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
