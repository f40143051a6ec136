// SPDX-License-Identifier: MIT
#include "board/models_ar724x.hpp"
#include "board/table.hpp"
#include "board/tables.hpp"

namespace {

consteval kvrn_board_record generic() {
  kvrn_board_record record = kvrn::generic_record(KVRN_SOC_AR724X, "Generic ar724x");
  kvrn::put_radio(record);
  record.constant_a = 1;
  return record;
}

}  // namespace

KVRN_CHECK_MODELS(kvrn::models_ar724x);

using Table = kvrn::BoardTable<kvrn::models_ar724x.size()>;
extern "C" {
__attribute__((visibility("hidden"))) extern Table kvrn_ar724x_table;
constinit Table kvrn_ar724x_table = kvrn::make_table(kvrn::models_ar724x, KVRN_SOC_AR724X, generic());
}
KVRN_EXPORT_GENERIC(ar7240_board, kvrn_ar724x_table);

std::span<kvrn_board_record> kvrn::ar724x_table() { return kvrn_ar724x_table.rows; }

kvrn_board_record& kvrn::ar724x_generic() { return kvrn_ar724x_table.generic; }
