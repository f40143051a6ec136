// SPDX-License-Identifier: MIT
// Values for people: units, "unknown", aligned columns, colour.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/kvrnctl/context.hpp"

namespace kvrnctl {

// A value of a document for people, by the unit in its key: "voltage_mv" 25900 is "25.900 V"; null is "unknown".
std::string humanize(std::string_view key, const json& value);

// "voltage_mv" is "Voltage".
std::string label(std::string_view key);

enum class Color { none, good, warning, bad, dim };
std::string painted(const Context& context, Color color, std::string_view text);

// Columns of the terminal; 80 where there is none.
std::size_t terminal_columns();

// A line, folded between words where the terminal ends; what goes on below begins `indent` columns in.
std::string folded(std::string_view text, std::size_t indent);

// Rows of cells, aligned by what a terminal shows of them; the first row is the heading. Cells fold between words until
// the row fits the terminal.
class Table {
 public:
  explicit Table(std::vector<std::string> heading) { rows_.push_back(std::move(heading)); }
  void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  std::string text() const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

// "Label   value" lines for the plain members of an object.
std::string fields(const json& object, std::string_view indent);

}  // namespace kvrnctl
