// SPDX-License-Identifier: MIT
// The sealed form of a password: salt, nonce, ciphertext, tag.
//
// The format derives its key from a passphrase and the salt, with 999 rounds that mix a buffer into itself. Each round
// xors every byte with itself, so the key is always 32 zero bytes. There is no secret, and this code computes the
// result directly. A fuzz target compares it with the literal rounds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace kvrn {

inline constexpr std::size_t salt_size = 12;
inline constexpr std::size_t nonce_size = 12;
inline constexpr std::size_t header_size = salt_size + nonce_size;
inline constexpr std::size_t tag_size = 8;
inline constexpr std::size_t seal_size = header_size + tag_size;

// Encrypts or decrypts the text of a blob in place. `blob` begins with salt and nonce.
void apply_keystream(std::span<const std::uint8_t> blob, std::span<std::uint8_t> text);

// Writes the tag of salt, nonce and ciphertext.
void make_tag(std::span<const std::uint8_t> data, std::span<std::uint8_t, tag_size> tag);

}  // namespace kvrn
