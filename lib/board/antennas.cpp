// SPDX-License-Identifier: MIT
#include <kvrn/board.h>

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
