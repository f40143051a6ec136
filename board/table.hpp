// SPDX-License-Identifier: MIT
// A family's table: its models expanded at compile time, the generic record behind them.
#pragma once

#include <array>
#include <string_view>

#include "board/model.hpp"

namespace kvrn {

template <std::size_t Rows>
struct BoardTable {
  board_record rows[Rows];
  board_record generic;
};

template <std::size_t Rows>
consteval BoardTable<Rows> make_table(const std::array<Model, Rows>& models, std::uint32_t soc_type,
                                      const board_record& generic) {
  BoardTable<Rows> table{};
  for (std::size_t i = 0; i < Rows; ++i) table.rows[i] = expand(models[i], soc_type);
  table.generic = generic;
  return table;
}

// A text whose scrambled form holds a NUL would be cut there.
constexpr bool survives_scrambling(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i)
    if (static_cast<std::uint8_t>(text[i]) == scramble_key[i % scramble_key.size()]) return false;
  return true;
}

template <std::size_t Rows>
consteval bool well_formed(const std::array<Model, Rows>& models) {
  for (std::size_t i = 0; i < Rows; ++i) {
    const Model& model = models[i];
    if (model.code.empty() || model.code.size() > 5) return false;
    if (model.name.empty() || model.name.size() >= sizeof board_record{}.name) return false;
    if (!survives_scrambling(model.name) || !survives_scrambling(model.code)) return false;
    for (std::size_t other = 0; other < i; ++other) {
      if (models[other].code == model.code || models[other].name == model.name) return false;
      // One id twice only where the hardware revision tells the rows apart.
      if (models[other].id == model.id && models[other].min_revision == model.min_revision) return false;
    }
  }
  return true;
}

}  // namespace kvrn

// Exports `symbol` as the record behind `rows` rows of `table`, with a record's own size. An alias in C++ can only name
// a whole object. Not with link-time optimisation: the assembler text must stay with the table.
#define KVRN_EXPORT_GENERIC(symbol, table, rows)                                                \
  __asm__(".globl " #symbol "\n.type " #symbol ", @object\n.set " #symbol ", " #table "+" #rows \
          "*1408\n.size " #symbol ", 1408\n")
