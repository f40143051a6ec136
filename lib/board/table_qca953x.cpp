// SPDX-License-Identifier: MIT
#include "board/models_qca953x.hpp"
#include "board/table.hpp"
#include "board/tables.hpp"

namespace {

consteval kvrn_board_record generic() {
  kvrn_board_record record = kvrn::generic_record(KVRN_SOC_QCA953X, "Generic ar953x");
  record.constant_b = 1;
  return record;
}

}  // namespace

KVRN_CHECK_MODELS(kvrn::models_qca953x);

using Table = kvrn::BoardTable<kvrn::models_qca953x.size()>;
extern "C" {
__attribute__((visibility("hidden"))) extern Table kvrn_qca953x_table;
constinit Table kvrn_qca953x_table = kvrn::make_table(kvrn::models_qca953x, KVRN_SOC_QCA953X, generic());
}
KVRN_EXPORT_GENERIC(ar953x_board, kvrn_qca953x_table);

std::span<kvrn_board_record> kvrn::qca953x_table() { return kvrn_qca953x_table.rows; }

kvrn_board_record& kvrn::qca953x_generic() { return kvrn_qca953x_table.generic; }
