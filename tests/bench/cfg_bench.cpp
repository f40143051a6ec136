// SPDX-License-Identifier: MIT
// The configuration store against inih and GLib reading the same pairs, against a bare walk over the chain, and against
// the literal key derivation of protected passwords.
#include <glib.h>
#include <ini.h>
#include <kvrn/kvrn.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <iterator>
#include <string>
#include <vector>

#include "cfg/base64.hpp"
#include "tests/bench/ratio.hpp"
#include "tests/cfg_fixture.hpp"
#include "tests/files.hpp"
#include "tests/fuzz/cfg_rounds.hpp"

namespace {

const TempDir* dir;

std::string path(int64_t entries, const char* kind) { return *dir / (std::to_string(entries) + kind); }

// Lines as a device's file has them.
std::string lines(int64_t entries) {
  static const char* const groups[] = {"netconf", "wireless", "bridge", "users", "radio", "vlan", "snmp.community"};
  static const char* const names[] = {"devname", "status", "mtu", "ip", "netmask", "autoip.status", "alias.1.status"};
  static const char* const values[] = {"eth0", "enabled", "1500", "192.168.1.20", "255.255.255.0", "disabled", ""};
  std::string text;
  for (int64_t i = 0; i < entries; ++i)
    text += std::string(groups[i / 7 % 7]) + "." + std::to_string(i / 49 + 1) + "." + names[i % 7] + "=" +
            values[i % 7] + "\n";
  return text;
}

void parse_kvrn(benchmark::State& state) {
  const std::string file = path(state.range(0), ".cfg");
  for (auto _ : state) free_cfg(parse(file.c_str()));
}

struct Pair {
  char* name;
  char* value;
  Pair* next;
};

int store(void* user, const char*, const char* name, const char* value) {
  auto*& list = *static_cast<Pair**>(user);
  list = new (::malloc(sizeof(Pair))) Pair{::strdup(name), ::strdup(value), list};
  return 1;
}

void parse_inih(benchmark::State& state) {
  const std::string file = path(state.range(0), ".cfg");
  for (auto _ : state) {
    Pair* list = nullptr;
    benchmark::DoNotOptimize(::ini_parse(file.c_str(), store, &list));
    while (list != nullptr) {
      Pair* next = list->next;
      ::free(list->name);
      ::free(list->value);
      ::free(list);
      list = next;
    }
  }
}

void parse_glib(benchmark::State& state) {
  const std::string file = path(state.range(0), ".key");
  for (auto _ : state) {
    GKeyFile* keys = ::g_key_file_new();
    benchmark::DoNotOptimize(::g_key_file_load_from_file(keys, file.c_str(), G_KEY_FILE_NONE, nullptr));
    ::g_key_file_free(keys);
  }
}

// Both sides walk one chain, to its last record, which is the second line. Queries meet keys of all groups, keys that
// differ in a number only, and keys in other letter case.
struct Family {
  std::string (*lines)(int64_t entries);
  const char* key;
  double at_most;
};
std::string numbered_lines(int64_t entries) {
  std::string text = "wireless.0.ssid=a\n";
  for (int64_t i = 1; i < entries; ++i) text += "wireless." + std::to_string(i) + ".ssid=a\n";
  return text;
}
constexpr Family families[] = {
    {lines, "netconf.1.status", 1.6},
    // The C library of a PC compares many equal characters at a time, and here they are all equal up to the number.
    {numbered_lines, "wireless.1.ssid", 4},
    {lines, "NETCONF.1.Status", 1.6},
};
constexpr int64_t chain_entries = 2000;
std::vector<Config> chains;

void value_kvrn(benchmark::State& state) {
  const Config& cfg = chains[state.range(0)];
  for (auto _ : state) benchmark::DoNotOptimize(get_value(cfg.get(), nullptr, "%s", families[state.range(0)].key));
}

void value_walk(benchmark::State& state) {
  const Config& cfg = chains[state.range(0)];
  for (auto _ : state) {
    const cfg_entry* entry = cfg.get();
    while (entry != nullptr && ::strcasecmp(entry->key, families[state.range(0)].key) != 0) entry = entry->next;
    benchmark::DoNotOptimize(entry);
  }
}

// 1,000 protected lines.
struct Line {
  std::string key, value;
};
std::vector<Line> protected_lines() {
  std::vector<Line> result;
  for (int i = 0; i < 1000; ++i) {
    const std::string plain = "users." + std::to_string(i) + ".password";
    const char* key = plain.c_str();
    const char* value = "correct horse";
    adv_vento_cfg_encrypt(&key, &value);
    result.push_back({key, value});
  }
  return result;
}

void open_kvrn(benchmark::State& state) {
  const auto sealed = protected_lines();
  std::vector<cfg_entry> entries(sealed.size());
  for (auto _ : state) {
    state.PauseTiming();
    for (size_t i = 0; i < sealed.size(); ++i) {
      ::free(entries[i].key);
      ::free(entries[i].value);
      entries[i] = {::strdup(sealed[i].key.c_str()), ::strdup(sealed[i].value.c_str()), nullptr, nullptr};
    }
    state.ResumeTiming();
    for (cfg_entry& entry : entries) adv_vento_cfg_decrypt_entry(&entry);
    benchmark::ClobberMemory();
  }
  for (const cfg_entry& entry : entries) {
    ::free(entry.key);
    ::free(entry.value);
  }
}

void open_literal(benchmark::State& state) {
  const auto sealed = protected_lines();
  for (auto _ : state)
    for (const Line& line : sealed) {
      uint8_t blob[512];
      const size_t size = kvrn::base64_decode(line.value, blob).value_or(0);
      const auto key = rounds::derive_key(blob);
      benchmark::DoNotOptimize(rounds::tag(key, {blob, blob + size - 8}));
      for (size_t i = 0; i + 32 < size; ++i) blob[24 + i] ^= rounds::keystream(key, blob + 12, i);
      char* plain = ::strndup(reinterpret_cast<char*>(blob) + 24, size - 32);
      benchmark::DoNotOptimize(plain[0]);
      ::free(plain);
    }
}

#define SIZES Arg(200)->Arg(2000)->Arg(20000)->Repetitions(21)->MinTime(0.02)
BENCHMARK(parse_kvrn)->SIZES;
BENCHMARK(parse_inih)->SIZES;
BENCHMARK(parse_glib)->SIZES;
#define FAMILIES DenseRange(0, std::size(families) - 1)->Repetitions(21)->MinTime(0.02)
BENCHMARK(value_kvrn)->FAMILIES;
BENCHMARK(value_walk)->FAMILIES;
BENCHMARK(open_kvrn)->Repetitions(9)->MinTime(0.02);
BENCHMARK(open_literal)->Repetitions(9)->MinTime(0.02);

}  // namespace

int main(int argc, char** argv) {
  const TempDir files;
  dir = &files;
  for (const int entries : {200, 2000, 20000}) {
    write_text(path(entries, ".cfg"), lines(entries));
    write_text(path(entries, ".key"), "[cfg]\n" + lines(entries));
  }
  for (const Family& family : families) {
    const std::string file = path(std::ssize(chains), ".family");
    write_text(file, family.lines(chain_entries));
    chains.emplace_back(parse(file.c_str()));
  }
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  bool kept = true;
  for (const std::string size : {"/200", "/2000", "/20000"}) {
    kept &= reporter.at_least_faster("parse_kvrn" + size, "parse_inih" + size, 2.5);
    kept &= reporter.at_least_faster("parse_kvrn" + size, "parse_glib" + size, 2);
  }
  for (std::size_t i = 0; i < std::size(families); ++i)
    kept &= reporter.at_most("value_kvrn/" + std::to_string(i), "value_walk/" + std::to_string(i), families[i].at_most);
  kept &= reporter.at_least_faster("open_kvrn", "open_literal", 100);
  return kept ? 0 : 1;
}
