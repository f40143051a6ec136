// SPDX-License-Identifier: MIT
#include "tools/service/standins.hpp"

#include <syslog.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <set>
#include <utility>

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

using Lines = std::vector<std::string>;

enum class Absent { counts, is_normal };

// Opens the file as the library does. The file mode alone does not tell: a container may deny access to a device.
void look_at(Lines& lines, const std::string& path, int flags, Absent absent, const char* consequence) {
  if (kvrn::Fd::open(path.c_str(), flags | O_NONBLOCK)) return;
  const bool is_absent = errno == ENOENT || errno == ENXIO || errno == ENODEV;
  if (is_absent && absent == Absent::is_normal) return;
  std::string reason = std::strerror(errno);
  reason[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(reason[0])));
  lines.push_back(path + ": " + reason + ": " + consequence);
}

// /dev/mem is not checked. No reading depends on the SoC's revision, and access to /dev/mem would allow everything.
void look_at_identity(Lines& lines) {
  const auto before = lines.size();
  look_at(lines, "/proc/mtd", O_RDONLY, Absent::counts, board);
  if (lines.size() != before) return;
  const auto partition = kvrn::find_calibration_partition();
  if (!partition) return lines.push_back(std::string("/proc/mtd: no partition named EEPROM or ART: ") + board);
  for (const char* device : {"/dev/mtd", "/dev/mtdblock"})
    look_at(lines, device + std::to_string(*partition), O_RDONLY, Absent::counts, board);
}

// Every board has the chips with the mains lines. Only some boards have the other chips and the buses.
void look_at_hardware(Lines& lines) {
  std::set<std::uint32_t> everywhere;
  std::set<int> buses;
  for (const kvrn::Platform& platform : kvrn::platforms)
    for (const kvrn::PowerSource& source : platform.present()) {
      if (source.is_input()) everywhere.insert(kvrn::gpio_chip_index(source.input.mains_line));
      buses.insert(source.is_input() ? source.input.supply.bus : source.battery.smart.bus);
    }
  buses.erase(0);  // 0: the source is on no bus
  for (std::uint32_t chip = 0; chip < kvrn::gpio_chips.size(); ++chip)
    look_at(lines, kvrn::gpio_chips[chip], O_RDWR, everywhere.contains(chip) ? Absent::counts : Absent::is_normal,
            readings);
  for (const int bus : buses) look_at(lines, "/dev/i2c-" + std::to_string(bus), O_RDWR, Absent::is_normal, readings);
}

// Opened for reading and writing, as the library does it for readers too: readers and the monitor share one account.
void look_at_images(Lines& lines) {
  for (const kvrn::ImageSpec& image : {kvrn::psu_cache_file, kvrn::output_cache_file, kvrn::raw_battery_file})
    look_at(lines, image.path, O_RDWR | O_NOFOLLOW, Absent::is_normal, published);
}

std::string path_of(const std::string& line) { return line.substr(0, line.find(": ") + 2); }

}  // namespace

Lines missing_access() {
  Lines lines;
  look_at_identity(lines);
  look_at_hardware(lines);
  look_at_images(lines);
  return lines;
}

void AccessLog::see(Lines missing) {
  for (const std::string& line : missing)
    if (std::ranges::find(missing_, line) == missing_.end()) ::syslog(LOG_WARNING, "%s", line.c_str());
  for (const std::string& line : missing_)
    if (const std::string path = path_of(line); std::ranges::find(missing, path, path_of) == missing.end())
      // A process identifies the board only once.
      ::syslog(LOG_NOTICE, "%sin order now%s", path.c_str(),
               line.ends_with(board) ? "; only a restart identifies the board again" : "");
  missing_ = std::move(missing);
}

}  // namespace service
