// SPDX-License-Identifier: MIT
#include "cfg/seal.hpp"

#include <algorithm>

namespace kvrn {
namespace {

// A keystream byte is one byte of a mix of the key (32 zeros), the nonce (12 bytes) and the position (4 bytes,
// little-endian, twice), folded to 32 bytes. Byte j of the mix starts as 52 + j. The nonce is in bytes 0 to 11, the
// position in bytes 12 to 19.
constexpr std::size_t mix_size = 32;
constexpr std::size_t keystream_block = 52;
constexpr std::size_t tagged_at_most = 80;  // bytes of salt, nonce and ciphertext that the tag covers
constexpr std::size_t tag_key_size = 16;

std::uint8_t keystream_byte(std::span<const std::uint8_t> nonce, std::size_t i) {
  const std::size_t place = i % mix_size;
  const auto start = static_cast<std::uint8_t>(keystream_block + place);
  if (place < nonce_size) return start ^ nonce[place];
  if (place < nonce_size + 8) return start ^ static_cast<std::uint8_t>(i >> (place - nonce_size) % 4 * 8);
  return start;
}

}  // namespace

void apply_keystream(std::span<const std::uint8_t> blob, std::span<std::uint8_t> text) {
  const auto nonce = blob.subspan(salt_size, nonce_size);
  for (std::size_t i = 0; i < text.size(); ++i) text[i] ^= keystream_byte(nonce, i);
}

void make_tag(std::span<const std::uint8_t> data, std::span<std::uint8_t, tag_size> tag) {
  // The tag is the first 8 of the 32 bytes of a mix of 16 key bytes (zeros) and the data. Only the size and the data
  // bytes 16 to 23 and 48 to 55 affect these 8 bytes. A change of any other byte is not detected.
  const std::size_t size = std::min(data.size(), tagged_at_most);
  for (std::size_t j = 0; j < tag_size; ++j) {
    tag[j] = static_cast<std::uint8_t>(tag_key_size + size + j);
    for (std::size_t k = mix_size - tag_key_size + j; k < size; k += mix_size) tag[j] ^= data[k];
  }
}

}  // namespace kvrn
