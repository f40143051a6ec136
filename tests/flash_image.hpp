// SPDX-License-Identifier: MIT
// A calibration partition, byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct FlashImage {
  static constexpr std::size_t radio = 0x1000;
  std::string bytes;

  explicit FlashImage(std::size_t size = 0x10000, char fill = '\xFF') : bytes(size, fill) {}

  FlashImage& word(std::size_t offset, unsigned value) {
    bytes[offset] = static_cast<char>(value >> 8);
    bytes[offset + 1] = static_cast<char>(value & 0xFF);
    return *this;
  }
  FlashImage& macs() {
    for (std::size_t i = 0; i < 12; ++i) bytes[i] = static_cast<char>(i % 6 == 0 ? 0x02 : 0x10 + i);
    return *this;
  }
  FlashImage& board_id(unsigned id) { return word(12, id).word(14, 0x0777); }
  FlashImage& revision(std::uint32_t value) { return word(16, value >> 16).word(18, value & 0xFFFF); }
  FlashImage& radio_word(std::size_t index, unsigned value) { return word(radio + 2 * index, value); }
  // A calibration block of nine words whose checksum holds: word 4 and the MAC address 02:A1:...:A5.
  FlashImage& calibration(std::size_t offset, unsigned value) {
    const unsigned words[] = {18, 0, 0, 0, value, 0, 0x02A1, 0xA2A3, 0xA4A5};
    unsigned sum = 0;
    for (std::size_t i = 0; i < 9; ++i) {
      word(radio + offset + 2 * i, words[i]);
      sum ^= words[i];
    }
    return word(radio + offset + 2, ~sum & 0xFFFF);
  }
};
