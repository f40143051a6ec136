// SPDX-License-Identifier: MIT
// The table of a family: its models, expanded at compile time, and after them the generic record.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "board/model.hpp"

namespace kvrn {

template <std::size_t Rows>
struct BoardTable {
  kvrn_board_record rows[Rows];
  kvrn_board_record generic;
};

template <std::size_t Rows>
consteval BoardTable<Rows> make_table(const std::array<Model, Rows>& models, std::uint32_t soc_type,
                                      const kvrn_board_record& generic) {
  BoardTable<Rows> table{};
  for (std::size_t i = 0; i < Rows; ++i) table.rows[i] = expand(models[i], soc_type);
  table.generic = generic;
  return table;
}

// A text whose scrambled form contains a NUL would end there.
constexpr bool survives_scrambling(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i)
    if (static_cast<std::uint8_t>(text[i]) == scramble_key[i % scramble_key.size()]) return false;
  return true;
}

constexpr bool well_formed(const Model& model) {
  return !model.code.empty() && model.code.size() <= 5 && !model.name.empty() &&
         model.name.size() < sizeof kvrn_board_record{}.name && survives_scrambling(model.name) &&
         survives_scrambling(model.code);
}

template <std::size_t Rows>
consteval bool well_formed(const std::array<Model, Rows>& models) {
  for (const Model& model : models)
    if (!well_formed(model)) return false;
  return true;
}

template <std::size_t Rows>
consteval bool distinct(const std::array<Model, Rows>& models) {
  for (std::size_t i = 0; i < Rows; ++i) {
    const Model& model = models[i];
    for (std::size_t other = 0; other < i; ++other) {
      if (models[other].code == model.code || models[other].name == model.name) return false;
      // Two rows may have the same id only when their minimum hardware revision differs.
      if (models[other].id == model.id && models[other].min_revision == model.min_revision) return false;
    }
  }
  return true;
}

}  // namespace kvrn

#define KVRN_CHECK_MODELS(models)                                                                              \
  static_assert(                                                                                               \
      kvrn::well_formed(models),                                                                               \
      "a name has 1 to 31 characters, a code 1 to 5, and 'Z', ',' or '>' may not stand where the key has it"); \
  static_assert(kvrn::distinct(models), "a name, a code, or an id with its min_revision stands in two rows")

// Exports `symbol` as the generic record of `table`, with the size of a record. C++ cannot do this: its aliases name a
// whole object. The function is never called. It passes the numbers to the assembler text. They are negated because
// only %n prints a plain number on every target. Link-time optimisation must be off: the text must stay with the table.
#define KVRN_EXPORT_GENERIC(symbol, table)                                                                     \
  __attribute__((used)) static void export_##symbol() {                                                        \
    constexpr int size = sizeof((table).generic);                                                              \
    constexpr int offset = offsetof(decltype(table), generic);                                                 \
    __asm__(".globl " #symbol "\n.type " #symbol ", @object\n.set " #symbol ", " #table "+%n0\n.size " #symbol \
            ", %n1\n" ::"i"(-offset),                                                                          \
            "i"(-size));                                                                                       \
  }                                                                                                            \
  static_assert(sizeof((table).generic) == 1408)
