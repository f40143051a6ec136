// SPDX-License-Identifier: MIT
// The AR724x models, one line for each. A new model needs only a new line.
#pragma once

#include <array>

#include "board/model.hpp"

namespace kvrn {

// clang-format off
inline constexpr std::array models_ar724x{
    // Corvane: outdoor subscriber units
    Model{"Corvane S2",            "CS2",   0xE002, Ports::fe1, Leds::bars4},
    Model{"Corvane S2 Duo",        "CS2D",  0xE003, Ports::fe2, Leds::bars4, 8},
    Model{"Corvane S3",            "CS3",   0xE005, Ports::fe1, Leds::bars4},
    Model{"Corvane S5",            "CS5",   0xE009, Ports::fe1, Leds::bars4},
    Model{"Corvane S5 Duo",        "CS5D",  0xE00A, Ports::fe2, Leds::bars4, 8},
    Model{"Corvane S6",            "CS6",   0xE00B, Ports::fe1, Leds::bars4},
    Model{"Corvane S9",            "CS9",   0xE00D, Ports::fe1, Leds::bars4},
    Model{"Corvane S10",           "CS10",  0xE00E, Ports::fe1, Leds::bars4},
    Model{"Corvane Mini 2",        "CM2",   0xE012, Ports::fe1, Leds::bars4},
    Model{"Corvane Mini 5",        "CM5",   0xE015, Ports::fe1, Leds::bars4},
    Model{"Corvane Mini 9",        "CM9",   0xE019, Ports::fe1, Leds::bars4},
    // Peltrix: sector units with an integrated antenna
    Model{"Peltrix 2",             "PX2",   0xE102, Ports::fe2, Leds::bars4, 8},
    Model{"Peltrix 2 Plus",        "PX2P",  0xE112, Ports::fe2, Leds::bars4, 8},
    Model{"Peltrix 3",             "PX3",   0xE103, Ports::fe1, Leds::bars4},
    Model{"Peltrix 3 Low",         "PX3L",  0xE133, Ports::fe1, Leds::bars4},
    Model{"Peltrix 5",             "PX5",   0xE105, Ports::fe2, Leds::bars4, 8},
    Model{"Peltrix 5 Plus",        "PX5P",  0xE115, Ports::fe2, Leds::bars4, 8},
    Model{"Peltrix 9",             "PX9",   0xE109, Ports::fe1, Leds::bars4},
    Model{"Peltrix Wide 2",        "PW2",   0xE1B2, Ports::fe1, Leds::bars4},
    Model{"Peltrix Wide 5",        "PW5",   0xE1B5, Ports::fe1, Leds::bars4},
    Model{"Peltrix Grid 2",        "PG2",   0xE1C2, Ports::fe1, Leds::bars4},
    Model{"Peltrix Grid 5",        "PG5",   0xE1C5, Ports::fe1, Leds::bars4},
    Model{"Peltrix Grid 5 II",     "PG5B",  0xE1C5, Ports::fe1, Leds::bars6, 0, 6},
    Model{"Peltrix Grid 9",        "PG9",   0xE1C9, Ports::fe1, Leds::bars4},
    // Ostrio: radios for separate dishes and sector antennas
    Model{"Ostrio 2",              "OS2",   0xE202, Ports::fe1, Leds::bars6},
    Model{"Ostrio 2 Giga",         "OS2H",  0xE212, Ports::ge1, Leds::bars6},
    Model{"Ostrio 3",              "OS3",   0xE203, Ports::fe1, Leds::bars6},
    Model{"Ostrio 3 Low",          "OS3L",  0xE233, Ports::fe1, Leds::bars6},
    Model{"Ostrio 5",              "OS5",   0xE205, Ports::fe1, Leds::bars6},
    Model{"Ostrio 5 Giga",         "OS5H",  0xE215, Ports::ge1, Leds::bars6},
    Model{"Ostrio 6",              "OS6",   0xE206, Ports::fe1, Leds::bars6},
    Model{"Ostrio 9",              "OS9",   0xE209, Ports::fe1, Leds::bars6},
    Model{"Ostrio 9 Sync",         "OS9S",  0xE219, Ports::fe1, Leds::bars6},
    Model{"Ostrio 5 Sync",         "OS5S",  0xE225, Ports::fe1, Leds::bars6},
    Model{"Ostrio 2 Sync",         "OS2S",  0xE222, Ports::fe1, Leds::bars6},
    // Vandrel: dishes with the radio in the feed
    Model{"Vandrel 2",             "VD2",   0xE302, Ports::fe1, Leds::bars6},
    Model{"Vandrel 3",             "VD3",   0xE303, Ports::fe1, Leds::bars6},
    Model{"Vandrel 5 Small",       "VD5S",  0xE305, Ports::fe1, Leds::bars6},
    Model{"Vandrel 5",             "VD5",   0xE315, Ports::fe1, Leds::bars6},
    Model{"Vandrel 5 Large",       "VD5L",  0xE325, Ports::ge1, Leds::bars6},
    Model{"Vandrel 9",             "VD9",   0xE309, Ports::fe1, Leds::bars6},
    Model{"Vandrel 10",            "VDR10", 0xE30A, Ports::fe1, Leds::bars6},
    // Lumidor: indoor access points
    Model{"Lumidor",               "LD",    0xE402, Ports::fe1, Leds::links},
    Model{"Lumidor Hall",          "LDH",   0xE403, Ports::fe1, Leds::links},
    Model{"Lumidor Wall",          "LDW",   0xE404, Ports::fe2, Leds::links, 8},
    Model{"Lumidor Duo",           "LDD",   0xE405, Ports::ge1, Leds::links},
    Model{"Lumidor Plus",          "LDP",   0xE406, Ports::ge2, Leds::links},
    Model{"Lumidor Yard 2",        "LDY2",  0xE412, Ports::fe2, Leds::links, 8},
    Model{"Lumidor Yard 5",        "LDY5",  0xE415, Ports::fe2, Leds::links, 8},
    Model{"Lumidor Gate",          "LDG",   0xE421, Ports::fe2, Leds::links},
    // Kestrix: point-to-point bridges
    Model{"Kestrix 2",             "KX2",   0xE502, Ports::ge1, Leds::bars6},
    Model{"Kestrix 3",             "KX3",   0xE503, Ports::ge1, Leds::bars6},
    Model{"Kestrix 5",             "KX5",   0xE505, Ports::ge1, Leds::bars6},
    Model{"Kestrix 5 Long",        "KX5L",  0xE515, Ports::ge2, Leds::bars6},
    Model{"Kestrix 6",             "KX6",   0xE506, Ports::ge1, Leds::bars6},
    Model{"Kestrix 9",             "KX9",   0xE509, Ports::ge1, Leds::bars6},
    Model{"Kestrix 10",            "KX10",  0xE50A, Ports::ge1, Leds::bars6},
    Model{"Kestrix 11",            "KX11",  0xE50B, Ports::ge2, Leds::bars6},
    // Tovara: units for vehicles and trains
    Model{"Tovara 2",              "TV2",   0xE602, Ports::fe2, Leds::bars4},
    Model{"Tovara 5",              "TV5",   0xE605, Ports::fe2, Leds::bars4},
    Model{"Tovara 9",              "TV9",   0xE609, Ports::fe2, Leds::bars4},
    Model{"Tovara Rail",           "TVR",   0xE611, Ports::ge2, Leds::bars4},
    // Gatho: wired gateways, no radio
    Model{"Gatho 2",               "GT2",   0xE700, Ports::fe2, Leds::links, 0, 0, false},
    Model{"Gatho Sensor",          "GTS",   0x5011, Ports::fe1, Leds::two,   0, 0, false},
    Model{"Gatho 2 Power",         "GT2P",  0xE701, Ports::ge2, Leds::links, 8, 0, false},
    // Sephel: relays and adapters
    Model{"Sephel Relay 2",        "SR2",   0xE802, Ports::fe1, Leds::bars4},
    Model{"Sephel Relay 5",        "SR5",   0xE805, Ports::fe1, Leds::bars4},
    Model{"Sephel Relay 9",        "SR9",   0xE809, Ports::fe1, Leds::bars4},
    Model{"Sephel Adapter",        "SAD",   0xE811, Ports::fe1, Leds::two},
    Model{"Sephel Adapter Duo",    "SADD",  0xE812, Ports::fe2, Leds::two},
    Model{"Sephel Camera",         "SCM",   0xE821, Ports::fe1, Leds::two},
    Model{"Sephel Meter",          "SMT",   0xE831, Ports::fe1, Leds::two},
};
// clang-format on

}  // namespace kvrn
