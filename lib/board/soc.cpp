// SPDX-License-Identifier: MIT
// The SoC: reads its family from /proc/cpuinfo and its revision from the reset block.
#include "board/soc.hpp"

#include <kvrn/board.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "util/handle.hpp"
#include "util/lines.hpp"
#include "util/number.hpp"
#include "util/observe.hpp"
#include "util/prefix.hpp"

namespace {

// A name from a line of /proc/cpuinfo. A longer text is truncated.
template <std::size_t Size>
class Name {
 public:
  void assign(std::string_view text) {
    size_ = std::min(text.size(), Size);
    std::copy_n(text.data(), size_, chars_);
  }
  std::string_view view() const { return {chars_, size_}; }

 private:
  char chars_[Size];
  std::size_t size_ = 0;
};

constexpr const char* cpuinfo = "/proc/cpuinfo";

struct CpuInfo {
  int error = 0;  // of opening the file
  Name<128> system;
  Name<128> cpu;
};

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && kvrn::is_space(text.back())) text.remove_suffix(1);
  return text;
}

CpuInfo read_cpu_info() {
  constexpr std::size_t longest_key = 32;
  CpuInfo info;
  kvrn::Lines<129> lines(cpuinfo);
  for (std::string_view line; lines.next(line);) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon + 1 == line.size()) continue;
    std::string_view key = trimmed({line.data(), colon});
    key.remove_suffix(key.size() - std::min(key.size(), longest_key));
    std::string_view value = line;
    value.remove_prefix(std::min(line.size(), colon + 2));  // one blank after the colon
    value = trimmed(value);
    if (kvrn::has_prefix(key, "system type") || kvrn::has_prefix(key, "Hardware")) info.system.assign(value);
    if (kvrn::has_prefix(key, "cpu model") || kvrn::has_prefix(key, "Processor")) info.cpu.assign(value);
  }
  info.error = lines.error();
  return info;
}

struct Family {
  std::string_view prefix;
  uint32_t type;
};
// The order matters: "Atheros AR7" would also match the longer names and must come after them.
constexpr Family families[]{{"Atheros AR5", KVRN_SOC_AR2316},   {"Atheros AR724", KVRN_SOC_AR724X},
                            {"Atheros AR933", KVRN_SOC_AR933X}, {"Atheros AR934", KVRN_SOC_AR934X},
                            {"Atheros AR7", KVRN_SOC_AR7100},   {"Qualcomm Atheros QCA953", KVRN_SOC_QCA953X}};

std::uint32_t type_of(const CpuInfo& info) {
  const std::string_view system = info.system.view();
  if (kvrn::has_prefix(system, "Atheros") && kvrn::has_prefix(info.cpu.view(), "MIPS 4Kc")) return KVRN_SOC_AR2313;
  for (const Family& family : families)
    if (kvrn::has_prefix(system, family.prefix)) return family.type;
  return KVRN_SOC_UNKNOWN;
}

constexpr off_t reset_block = 0x18060000;
constexpr std::size_t reset_block_size = 4096;
constexpr std::size_t revision_register = 0x90;

}  // namespace

namespace kvrn {

std::uint32_t detect_soc() {
  const CpuInfo info = read_cpu_info();
  const std::uint32_t type = type_of(info);
  const bool known = type != KVRN_SOC_UNKNOWN;
  tell(cpuinfo, reading(KVRN_SOURCE_BOARD, KVRN_FACT_FAMILY),
       info.error != 0 ? KVRN_OUTCOME_FAILED
       : known         ? KVRN_OUTCOME_ANSWERED
                       : KVRN_OUTCOME_REFUSED,
       info.error);
  return type;
}

std::uint32_t cpu_revision() {
  constexpr auto cannot_open = static_cast<std::uint32_t>(-2);
  constexpr auto cannot_map = static_cast<std::uint32_t>(-1);
  static constexpr const char* memory = "/dev/mem";
  constexpr std::uint32_t what = reading(KVRN_SOURCE_BOARD, KVRN_FACT_REVISION);
  const Fd fd = Fd::open(memory, O_RDONLY | O_SYNC);
  if (!fd) {
    tell_failed(memory, what);
    return cannot_open;
  }
  // If a regular file stands in place of the device, it must be long enough to contain the register.
  struct stat status {};
  const bool reaches = ::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
                       status.st_size >= reset_block + static_cast<off_t>(reset_block_size);
  const Mapping block = reaches ? Mapping(fd.get(), reset_block_size, reset_block) : Mapping();
  std::uint32_t revision = cannot_map;
  if (block)
    revision =
        *reinterpret_cast<const volatile std::uint32_t*>(static_cast<const char*>(block.get()) + revision_register);
  tell(memory, what, block ? KVRN_OUTCOME_ANSWERED : KVRN_OUTCOME_REFUSED, static_cast<std::int32_t>(revision));
  return revision;
}

}  // namespace kvrn

uint32_t arch_name_to_type(const char* name, uint32_t length) {
  struct Arch {
    const char* name;
    uint32_t type;
  };
  static constexpr Arch archs[]{{"ar7240", KVRN_SOC_AR724X},
                                {"ar2313", KVRN_SOC_AR2313},
                                {"ar2316", KVRN_SOC_AR2316},
                                {"ar7100", KVRN_SOC_AR7100}};
  if (name == nullptr || length != 6) return KVRN_SOC_UNKNOWN;
  for (const Arch& arch : archs)
    if (::strncasecmp(name, arch.name, length) == 0) return arch.type;
  return KVRN_SOC_UNKNOWN;
}

uint32_t ar724x_get_cpu_revision() KVRN_DOOR(cpu_revision);

uint32_t ar953x_get_cpu_revision() KVRN_DOOR(cpu_revision);
