// SPDX-License-Identifier: MIT
// The QCA953x models, one line for each. They are power units without a radio.
#pragma once

#include <array>

#include "board/model.hpp"

namespace kvrn {

// clang-format off
inline constexpr std::array models_qca953x{
    Model{"Quorvex Base",      "QVB", 0xE000, Ports::fe2, Leds::links, 0, 0, false},
    Model{"Quorvex Power 4",   "QP4", 0xEE5A, Ports::fe1, Leds::two,   0, 0, false,
          "6f0a4c52-1d7e-4b8a-9c35-2e8d41b7f06a", "b1c93e07-5a42-4f6d-8e19-70d2c6a4583b"},
    Model{"Quorvex Power 3",   "QP3", 0xEE5B, Ports::fe1, Leds::two,   0, 0, false,
          "2d84f1b6-93c0-4e57-a6d8-15fb07c29e4d"},
};
// clang-format on

}  // namespace kvrn
