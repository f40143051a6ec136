// SPDX-License-Identifier: MIT
#include "tools/service/standins.hpp"

#include <syslog.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "board/partition.hpp"
#include "board/platform.hpp"
#include "cache/image.hpp"
#include "hw/gpio_number.hpp"
#include "util/handle.hpp"

namespace service {
namespace {

constexpr const char* board = "the board may be a stand-in";
constexpr const char* readings = "the readings may be stand-ins";
constexpr const char* published = "what kvrn-monitord publishes cannot be used";

using Path = decltype(Gap::path);

constexpr bool has_bit(std::uint32_t set, std::uint32_t bit) { return (set >> bit & 1) != 0; }

// Sets of buses and of GPIO chips, a bit for each number. Every board has the chips with the mains lines.
struct Hardware {
  std::uint32_t buses = 0;
  std::uint32_t chips_everywhere = 0;
};
constexpr Hardware hardware = [] {
  Hardware all;
  for (const kvrn::Platform& platform : kvrn::platforms)
    for (const kvrn::PowerSource& source : platform.present()) {
      if (source.is_input()) all.chips_everywhere |= 1U << kvrn::gpio_chip_index(source.input.mains_line);
      all.buses |= 1U << (source.is_input() ? source.input.supply.bus : source.battery.smart.bus);
    }
  all.buses &= ~1U;  // 0: the source is on no bus
  return all;
}();

constexpr std::array images{kvrn::psu_cache_file, kvrn::output_cache_file, kvrn::raw_battery_file};

constexpr std::size_t identity_files = 3;
static_assert(identity_files + kvrn::gpio_chips.size() + std::popcount(hardware.buses) + images.size() <=
              std::tuple_size_v<decltype(Gaps::list)>);

enum class Absent { counts, is_normal };

void add(Gaps& gaps, const Path& path, int error, const char* consequence) {
  gaps.list[gaps.count++] = {path, error, consequence};
}

// Opens the file as the library does. The file mode alone does not tell: a container may deny access to a device.
void look_at(Gaps& gaps, const Path& path, int flags, Absent absent, const char* consequence) {
  if (kvrn::Fd::open(path.c_str(), flags | O_NONBLOCK)) return;
  const bool is_absent = errno == ENOENT || errno == ENXIO || errno == ENODEV;
  if (!is_absent || absent == Absent::counts) add(gaps, path, errno, consequence);
}

// /dev/mem is not checked. No reading depends on the SoC's revision, and access to /dev/mem would allow everything.
void look_at_identity(Gaps& gaps) {
  const Path partitions("%s", kvrn::partitions_file);
  look_at(gaps, partitions, O_RDONLY, Absent::counts, board);
  if (gaps.count != 0) return;
  const auto partition = kvrn::find_calibration_partition();
  if (!partition) return add(gaps, partitions, 0, board);
  for (const char* device : {"/dev/mtd", "/dev/mtdblock"})
    look_at(gaps, Path("%s%d", device, *partition), O_RDONLY, Absent::counts, board);
}

// Every board has the chips with the mains lines. Only some boards have the other chips and the buses.
void look_at_hardware(Gaps& gaps) {
  for (std::uint32_t chip = 0; chip < kvrn::gpio_chips.size(); ++chip)
    look_at(gaps, Path("%s", kvrn::gpio_chips[chip]), O_RDWR,
            has_bit(hardware.chips_everywhere, chip) ? Absent::counts : Absent::is_normal, readings);
  for (std::uint32_t bus = 0; bus < 32; ++bus)
    if (has_bit(hardware.buses, bus)) look_at(gaps, Path("/dev/i2c-%u", bus), O_RDWR, Absent::is_normal, readings);
}

// Opened for reading and writing, as the library does it for readers too: readers and the monitor share one account.
void look_at_images(Gaps& gaps) {
  for (const kvrn::ImageSpec& image : images)
    look_at(gaps, Path("%s", image.path), O_RDWR | O_NOFOLLOW, Absent::is_normal, published);
}

bool same_file(const Gap& a, const Gap& b) { return std::strcmp(a.path.c_str(), b.path.c_str()) == 0; }

bool has_file(const Gaps& gaps, const Gap& wanted) {
  return std::ranges::any_of(gaps, [&](const Gap& gap) { return same_file(gap, wanted); });
}
bool has(const Gaps& gaps, const Gap& wanted) {
  return std::ranges::any_of(gaps, [&](const Gap& gap) {
    // Every consequence is one of the constants above.
    return same_file(gap, wanted) && gap.error == wanted.error && gap.consequence == wanted.consequence;
  });
}

void log(const Gap& gap) {
  const char* reason = gap.error == 0 ? "no partition named EEPROM or ART" : std::strerror(gap.error);
  ::syslog(LOG_WARNING, "%s: %c%s: %s", gap.path.c_str(), std::tolower(static_cast<unsigned char>(reason[0])),
           reason + 1, gap.consequence);
}

}  // namespace

void AccessLog::look() {
  Gaps missing;
  look_at_identity(missing);
  look_at_hardware(missing);
  look_at_images(missing);
  for (const Gap& gap : missing)
    if (!has(missing_, gap)) log(gap);
  for (const Gap& gap : missing_)
    if (!has_file(missing, gap))
      // A process identifies the board only once.
      ::syslog(LOG_NOTICE, "%s: in order now%s", gap.path.c_str(),
               gap.consequence == board ? "; only a restart identifies the board again" : "");
  missing_ = missing;
}

}  // namespace service
