// SPDX-License-Identifier: MIT
// Saving what was parsed and parsing it again gives the same entries.
#include <algorithm>

#include "cfg/trim.hpp"
#include "tests/fuzz/cfg_fuzz.hpp"

namespace {

// Whether an entry survives a file. Entries that came out of a protected line may hold anything.
bool is_savable(const cfg_entry& entry) {
  const std::string_view key = entry.key, value = entry.value;
  if (kvrn::trimmed(key, true) != key || kvrn::trimmed(value, false) != value) return false;
  if (key.find_first_of("=\n") != key.npos || value.find('\n') != value.npos) return false;
  if (key.starts_with('#') || key.starts_with("~META~")) return false;
  const char* line_key = entry.key;
  const char* line_value = entry.value;
  adv_vento_cfg_encrypt(&line_key, &line_value);
  if (line_key != entry.key && key.size() > 505) return false;
  return std::string_view(line_key).size() + 1 + std::string_view(line_value).size() <= 1024;
}

Config saved_and_parsed(const cfg_entry* cfg) {
  static const int fd = ::memfd_create("cfg", 0);
  static const std::string path = "/proc/self/fd/" + std::to_string(fd);
  CHECK(save_cfg(cfg, path.c_str()) == 0);
  return Config(parse(path.c_str()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Config cfg = parse_text({reinterpret_cast<const char*>(data), size});
  bool savable = true;
  for (const cfg_entry* entry = cfg.get(); entry != nullptr; entry = entry->next) {
    CHECK(entry->key != nullptr && entry->value != nullptr && entry->escaped == nullptr);
    savable = savable && is_savable(*entry);
  }
  const Config again = saved_and_parsed(cfg.get());
  if (!savable) return 0;
  // The first line stays first, the others come back in reverse.
  Pairs expected = pairs(cfg.get());
  if (!expected.empty()) std::reverse(expected.begin() + 1, expected.end());
  CHECK(pairs(again.get()) == expected);
  CHECK(pairs(saved_and_parsed(again.get()).get()) == pairs(cfg.get()));
  return 0;
}
