// SPDX-License-Identifier: MIT
// Opening protected entries: raw texts, and blobs whose tag is right, against the literal rounds.
#include <string.h>

#include "cfg/base64.hpp"
#include "cfg/seal.hpp"
#include "tests/fuzz/cfg_fuzz.hpp"
#include "tests/fuzz/cfg_rounds.hpp"

namespace {

std::string encoded(std::span<const uint8_t> bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  CHECK(kvrn::base64_encode(bytes, text));
  std::vector<uint8_t> back(bytes.size());
  CHECK(kvrn::base64_decode(text.c_str(), back) == bytes.size());
  CHECK(std::equal(bytes.begin(), bytes.end(), back.begin()));
  return text.c_str();
}

// Whether the entry opened; its value is left in `value`.
bool opens(const std::string& key, std::string& value) {
  cfg_entry entry{::strdup(key.c_str()), ::strdup(value.c_str()), nullptr, nullptr};
  const char* const before = entry.key;
  adv_vento_cfg_decrypt_entry(&entry);
  CHECK(entry.key != nullptr && entry.value != nullptr && entry.escaped == nullptr && entry.next == nullptr);
  const bool opened = entry.key != before;
  CHECK(opened || (std::string_view(key.c_str()) == entry.key && std::string_view(value.c_str()) == entry.value));
  value = entry.value;
  ::free(entry.key);
  ::free(entry.value);
  return opened;
}

void open_blob(std::vector<uint8_t> data, bool right_tag) {
  if (data.size() < kvrn::header_size || data.size() > 502) return;
  const auto key = rounds::derive_key(data.data());
  std::vector<uint8_t> tag = rounds::tag(key, data);
  if (!right_tag) tag[data.back() % 8] ^= 1;
  std::string expected;
  for (size_t i = 0; kvrn::header_size + i < data.size(); ++i)
    expected += static_cast<char>(data[kvrn::header_size + i] ^ rounds::keystream(key, data.data() + 12, i));
  data.insert(data.end(), tag.begin(), tag.end());
  std::string value = encoded(data);
  CHECK(opens("~META~a2V5", value) == right_tag);
  if (right_tag) CHECK(value == expected.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const std::vector<uint8_t> rest(data + 2, data + size);
  if (data[0] % 3 != 0) {
    open_blob(rest, data[0] % 3 == 1);
    return 0;
  }
  const size_t cut = data[1] < rest.size() ? data[1] : rest.size();
  const std::string text(rest.begin(), rest.end());
  std::string value = text.substr(cut);
  (void)opens("~META~" + text.substr(0, cut), value);
  return 0;
}
