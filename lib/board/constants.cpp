// SPDX-License-Identifier: MIT
// Antenna names, name overrides and the record of boards that are not ours.
#include "board/model.hpp"
#include "board/tables.hpp"

const char ANTENNA_NONE[] = "Not specified";
const char ANTENNA_DIVERSITY[] = "Diversity";
const char ANTENNA_2[] = "Antenna 2";
const char ANTENNA_1[] = "Antenna 1";
const char ANTENNA_INT_EXT[] = "External + Internal";
const char ANTENNA_INTERNAL[] = "Internal";
const char ANTENNA_EXTERNAL[] = "External";
const char ANTENNA_ADAPTIVE[] = "Adaptive";
const char ANTENNA_HORIZONTAL[] = "Horizontal";
const char ANTENNA_VERTICAL[] = "Vertical";
const char ANTENNA_SEC[] = "Secondary";
const char ANTENNA_COMBINED[] = "Combined";
const char ANTENNA_MAIN[] = "Main";
const char ANTENNA_17_24[] = "17x24";
const char ANTENNA_11_14[] = "11x14";
const char ANTENNA_300[4] = "300";
const char ANTENNA_400[4] = "400";

namespace kvrn {
namespace {

consteval kvrn_board_record unknown() {
  kvrn_board_record record{};
  put_text(record.name, "Unknown");
  record.soc_type = KVRN_SOC_UNKNOWN;
  record.param_a = 30;
  record.param_b = 140;
  record.eth_count = 1;
  record.decoded = 1;
  return record;
}

constinit kvrn_board_record unknown_record = unknown();

// No shipped board has system id 1; the comparison stays for boards that programs describe themselves.
constexpr NameOverride overrides[]{{"Cellbank9", 0x0001, 0x3009}, {"Cellbank5", 0x0001, 0x3005}};

}  // namespace

kvrn_board_record& unknown_board() { return unknown_record; }

std::span<const NameOverride> name_overrides() { return overrides; }

}  // namespace kvrn
