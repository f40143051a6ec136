// SPDX-License-Identifier: MIT
// Values for people: units, "unknown", aligned columns, colour.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/kvrnctl/context.hpp"

namespace kvrnctl {

// A document's value as a text for people. The key gives the unit: "voltage_mv" 25900 is "25.900 V". Null is "unknown".
std::string humanize(std::string_view key, const json& value);

// The label for a key: "Voltage" for "voltage_mv".
std::string label(std::string_view key);

enum class Color { none, good, warning, bad, dim };
std::string painted(const Context& context, Color color, std::string_view text);

// The number of columns of the terminal; 80 without a terminal.
std::size_t terminal_columns();

// Folds a line between words at the end of the terminal. The lines that follow the first begin with `indent` spaces.
std::string folded(std::string_view text, std::size_t indent);

// Rows of cells, aligned by the width that a terminal shows. The first row is the heading. Cells fold between words, so
// that the rows fit the terminal.
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
