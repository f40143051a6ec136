// SPDX-License-Identifier: MIT
#include "board/models_qca953x.hpp"
#include "board/table.hpp"
#include "board/tables.hpp"

namespace {

consteval board_record generic() {
  board_record record = kvrn::generic_record(KVRN_SOC_QCA953X, "Generic ar953x");
  record.constant_b = 1;
  return record;
}

}  // namespace

static_assert(kvrn::models_qca953x.size() == kvrn::qca953x_rows);
static_assert(kvrn::well_formed(kvrn::models_qca953x));

extern "C" {
__attribute__((visibility("hidden"))) extern kvrn::BoardTable<kvrn::qca953x_rows> kvrn_qca953x_table;
constinit kvrn::BoardTable<kvrn::qca953x_rows> kvrn_qca953x_table =
    kvrn::make_table(kvrn::models_qca953x, KVRN_SOC_QCA953X, generic());
}
KVRN_EXPORT_GENERIC(ar953x_board, kvrn_qca953x_table, 3);

std::span<board_record> kvrn::qca953x_table() { return kvrn_qca953x_table.rows; }
