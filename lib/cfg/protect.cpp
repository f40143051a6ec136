// SPDX-License-Identifier: MIT
#include "cfg/protect.hpp"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <utility>

#include "cfg/base64.hpp"
#include "cfg/record.hpp"
#include "cfg/seal.hpp"
#include "util/handle.hpp"

namespace kvrn {
namespace {

constexpr std::string_view mark = "~META~";
constexpr std::size_t blob_room = 512;
constexpr std::size_t key_text_room = 685;    // base64 of a key with terminator
constexpr std::size_t value_text_room = 684;  // base64 of a blob with terminator

struct ProtectedKey {
  std::string_view prefix;
  std::string_view suffix;
};
constexpr std::array protected_keys{ProtectedKey{"users.", ".password"}};

bool begins_with(std::string_view text, std::string_view start) {
  return text.size() >= start.size() && ::memcmp(text.data(), start.data(), start.size()) == 0;
}

bool ends_with(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && ::memcmp(text.data() + text.size() - end.size(), end.data(), end.size()) == 0;
}

// Prefix and suffix may overlap: "users.password" is protected.
bool is_protected(std::string_view key) {
  return std::any_of(protected_keys.begin(), protected_keys.end(), [key](const ProtectedKey& row) {
    return begins_with(key, row.prefix) && ends_with(key, row.suffix);
  });
}

std::span<const std::uint8_t> bytes_of(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Writes salt, nonce, ciphertext and tag into `blob`, which has the room for them.
void seal(std::string_view value, std::span<std::uint8_t> blob) {
  for (std::uint8_t& byte : blob.first(header_size)) byte = static_cast<std::uint8_t>(::rand());
  const auto text = blob.subspan(header_size, value.size());
  std::copy(value.begin(), value.end(), text.begin());
  apply_keystream(blob, text);
  const auto sealed = blob.first(header_size + value.size());
  make_tag(sealed, blob.subspan(sealed.size()).first<tag_size>());
}

// Whether the last bytes of a blob are the right tag for the other bytes.
bool checks_out(std::span<const std::uint8_t> blob) {
  std::uint8_t tag[tag_size];
  make_tag(blob.first(blob.size() - tag_size), tag);
  std::uint8_t difference = 0;
  for (std::size_t j = 0; j < tag_size; ++j) difference |= tag[j] ^ blob[blob.size() - tag_size + j];
  return difference == 0;
}

char* copy_bytes(std::span<const std::uint8_t> bytes) {
  return copy_text({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

bool may_decode(std::string_view text) { return (text.size() + 3) / 4 * 3 <= blob_room; }

}  // namespace

void seal_line(const char*& key, const char*& value) {
  static char key_line[mark.size() + key_text_room];
  static char value_line[value_text_room];
  const std::string_view plain_key = key;
  const std::string_view plain_value = value;
  if (!is_protected(plain_key) || plain_value.size() + seal_size > blob_room) return;

  const std::span<char> key_text = std::span(key_line).subspan(mark.size());
  if (!base64_encode(bytes_of(plain_key), key_text)) return;
  ::memcpy(key_line, mark.data(), mark.size());
  std::uint8_t room[blob_room];
  const auto blob = std::span(room).first(plain_value.size() + seal_size);
  seal(plain_value, blob);
  // A value of 479 or 480 characters does not fit here and stays plain text.
  if (!base64_encode(blob, value_line)) return;
  key = key_line;
  value = value_line;
}

void open_entry(cfg_entry& entry) {
  std::string_view key = text_of(entry.key);
  if (!begins_with(key, mark)) return;
  const std::string_view value = text_of(entry.value);
  if (!may_decode(key) || !may_decode(value)) return;
  key.remove_prefix(mark.size());

  std::uint8_t room[blob_room];
  const auto size = base64_decode(value, room);
  if (!size || *size < seal_size) return;
  const auto blob = std::span(room).first(*size);
  if (!checks_out(blob)) return;
  const auto text = blob.subspan(header_size, *size - seal_size);
  apply_keystream(blob, text);
  Heap<char> plain_value(copy_bytes(text));

  const auto key_size = base64_decode(key, room);
  if (!key_size) return;
  char* plain_key = copy_bytes(std::span(room).first(*key_size));
  if (plain_key == nullptr || !plain_value) {
    ::free(plain_key);
    return;
  }
  // When the escaped text is the value itself, its pointer would dangle.
  if (entry.escaped == entry.value) entry.escaped = nullptr;
  ::free(std::exchange(entry.key, plain_key));
  ::free(std::exchange(entry.value, plain_value.release()));
}

}  // namespace kvrn

void adv_vento_cfg_encrypt(const char** key, const char** value) {
  if (key == nullptr || value == nullptr || *key == nullptr || *value == nullptr) return;
  kvrn::seal_line(*key, *value);
}

void adv_vento_cfg_decrypt_entry(cfg_entry* entry) {
  if (entry != nullptr) kvrn::open_entry(*entry);
}
