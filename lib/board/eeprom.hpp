// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/board.h>

#include <span>

#include "util/handle.hpp"

namespace kvrn {

using Eeprom = Heap<ar7240_eeprom>;

// Reads the calibration partition of the unit; null on any failure.
Eeprom read_eeprom();

// Parses a calibration image in memory; null when it is too short or memory is exhausted.
Eeprom parse_eeprom(std::span<const std::uint8_t> flash);

// A word of the radio data, or of the chosen calibration block; 0 behind the end of the radio data.
std::uint16_t radio_word(const ar7240_eeprom& image, std::uint32_t index);
std::uint16_t calibration_word(const ar7240_eeprom& image, std::uint32_t index);

}  // namespace kvrn
