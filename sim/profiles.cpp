// SPDX-License-Identifier: MIT
#include "sim/profiles.hpp"

#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <optional>
#include <span>
#include <stdexcept>

#include "sim/state.hpp"

namespace kvrn::sim {
namespace {

struct Line {
  unsigned number;
  const char* name;
  int level;
  const char* direction = "in";
};
struct Text {
  const char* path;
  const char* text;
};
struct Register {
  int bus;
  int address;
  int reg;
  unsigned value;
};
struct Block {
  int subcommand;
  const char* bytes;
};

// The calibration data in the flash partition: a board id with its magic number, or radio data.
struct Calibration {
  std::optional<std::uint16_t> board_id;
  std::optional<std::uint16_t> radio_id;
  std::uint32_t revision;
  std::uint8_t last_mac_byte;
};

struct Profile {
  const char* name;
  const char* model;
  const char* short_name;
  const char* system_type;
  const char* cpu_model;
  std::uint32_t soc_revision;
  Calibration calibration;
  std::span<const Line> lines;
  std::span<const Text> files;
  std::span<const Register> registers;
  bool smart_battery;
};

constexpr Line common_lines[] = {
    {100, "battery-absent", 0},
    {108, "charge-current-a", 0, "out"},
    {109, "charge-disable", 0, "out"},
    {110, "charge-status", 1},
    {111, "dc-out-1", 1, "out"},
    {112, "battery-assist", 0},
    {113, "charge-current-b", 0, "out"},
    {211, "mains-1-fail", 0},
    {212, "mains-2-fail", 0},
};
constexpr Line four_source_lines[] = {
    {115, "li-charge-disable", 0, "out"},
    {207, "li-charge-current-a", 0, "out"},
    {213, "li-charge-current-b", 0, "out"},
    // Both boards have the same GPIO expanders. Lines that this board does not connect read 0.
    {160, "spare-160", 0},
    {200, "spare-200", 0},
    {201, "spare-201", 0},
    {202, "spare-202", 0},
    {205, "spare-205", 0},
};
constexpr Line three_source_lines[] = {
    {160, "dc-out-3-on", 1, "out"}, {200, "slot-2-empty", 0}, {201, "dc-out-2", 1, "out"},
    {202, "dc-out-3", 1, "out"},    {205, "slot-1-empty", 0},
};
constexpr Line generic_lines[] = {{211, "mains-1-fail", 0}, {212, "mains-2-fail", 1}};

// Files that system start-up, drivers and other processes create: first those of every board, then those of one board.
constexpr Text common_files[] = {
    {"/etc/version", "2.0.9.5406.200410.1234\n"},
    {"/tmp/system.cfg",
     "netconf.1.devname=eth0\n"
     "netconf.1.up=1\n"
     "psu.monitor.battery.install_date=20210315\n"},
    {"/tmp/.psu_data_stable", ""},
};
constexpr Text four_source_files[] = {
    {"/tmp/.battery_info", "87 5400 0 0\n"},
    {"/tmp/.battery_info_1", "78 7920 0 0\n"},
    {"/var/run/hwmon/mon-battery/in0_input", "26150\n"},
    {"/var/run/hwmon/mon-battery/curr1_input", "-640\n"},
    {"/var/run/hwmon/mon-dc-out-1/in0_input", "53800\n"},
    {"/var/run/hwmon/mon-dc-out-1/curr1_input", "850\n"},
    {"/sys/class/power_supply/sbs-2-000b/voltage_now", "25904000\n"},
    {"/sys/class/power_supply/sbs-2-000b/current_now", "1200000\n"},
    {"/sys/class/power_supply/sbs-2-000b/temp", "250\n"},
    {"/sys/class/power_supply/sbs-2-000b/capacity", "78\n"},
    {"/sys/class/power_supply/sbs-2-000b/cycle_count", "42\n"},
};
constexpr Text three_source_files[] = {
    {"/tmp/.battery_info", "87 5400 0 0\n"},
    {"/var/run/hwmon/mon-battery/in0_input", "51900\n"},
    {"/var/run/hwmon/mon-battery/curr1_input", "-1250\n"},
    {"/var/run/hwmon/mon-dc-out-1/in0_input", "53900\n"},
    {"/var/run/hwmon/mon-dc-out-1/curr1_input", "1200\n"},
    {"/var/run/hwmon/mon-dc-out-2/in0_input", "53850\n"},
    {"/var/run/hwmon/mon-dc-out-2/curr1_input", "700\n"},
    {"/var/run/hwmon/mon-dc-out-3/in0_input", "53870\n"},
    {"/var/run/hwmon/mon-dc-out-3/curr1_input", "0\n"},
};

// A smart battery of seven lithium cells, charging at 1.2 A.
constexpr Register smart_battery_registers[] = {
    {2, 0x0B, 0x00, 0x0800}, {2, 0x0B, 0x03, 0x6001}, {2, 0x0B, 0x08, 2981},  {2, 0x0B, 0x09, 25904},
    {2, 0x0B, 0x0A, 1200},   {2, 0x0B, 0x0F, 9360},   {2, 0x0B, 0x10, 12000}, {2, 0x0B, 0x12, 65535},
    {2, 0x0B, 0x13, 132},    {2, 0x0B, 0x16, 0x0080}, {2, 0x0B, 0x17, 42},    {2, 0x0B, 0x18, 12500},
    {2, 0x0B, 0x1B, 0x4A6F},
};
constexpr Block smart_battery_blocks[] = {
    {0x71, "74 0e 73 0e 75 0e 74 0e\n"},
    {0x7B, "75 0e 00 00 00 00 74 0e 00 00 00 00 74 0e\n"},
    {0x51, "00 00 00 00\n"},
    {0x55, "07 03 00\n"},
};
// Two supplies: 54.0 V, 2.1 A and 1.8 A, 41 and 39 degrees.
constexpr Register supply_registers[] = {
    {2, 0x58, 0x8B, 135}, {2, 0x58, 0x8C, 21}, {2, 0x58, 0x8D, 141},
    {8, 0x59, 0x8B, 135}, {8, 0x59, 0x8C, 18}, {8, 0x59, 0x8D, 139},
};

constexpr const char* qca953x = "Qualcomm Atheros QCA9533 ver 2 rev 0";
constexpr const char* mips24k = "MIPS 24Kc V7.4";

const Profile profiles[] = {
    {"four-source",
     "Quorvex Power 4",
     "QP4",
     qca953x,
     mips24k,
     0x00000160,
     {0xEE5A, {}, 3, 0xC2},
     four_source_lines,
     four_source_files,
     smart_battery_registers,
     true},
    {"three-source",
     "Quorvex Power 3",
     "QP3",
     qca953x,
     mips24k,
     0x00000160,
     {0xEE5B, {}, 2, 0xD2},
     three_source_lines,
     three_source_files,
     supply_registers,
     false},
    {"generic", "Generic", "GEN", qca953x, mips24k, 0x00000160, {{}, {}, 1, 0xE2}, {}, {}, {}, false},
    {"ar724x",
     "Peltrix Grid 5 II",
     "PG5B",
     "Atheros AR7241 rev 1",
     mips24k,
     0x00000101,
     {{}, 0xE1C5, 6, 0xF2},
     {},
     {},
     {},
     false},
};

// 16-bit words of the partition are big-endian on every host.
void put_word(std::string& flash, std::size_t offset, std::uint16_t word) {
  flash[offset] = static_cast<char>(word >> 8);
  flash[offset + 1] = static_cast<char>(word);
}

std::string flash_image(const Calibration& calibration) {
  constexpr std::size_t radio = 0x1000;
  constexpr std::size_t block = radio + 256;
  std::string flash(0x10000, '\xFF');
  for (std::size_t port = 0; port < 2; ++port) {
    const char mac[] = {0x02, 0x18, '\xD6', '\xA0', '\xB1', static_cast<char>(calibration.last_mac_byte + port)};
    std::memcpy(flash.data() + 6 * port, mac, sizeof mac);
  }
  if (calibration.board_id) {
    put_word(flash, 0x0C, *calibration.board_id);
    put_word(flash, 0x0E, 0x0777);
  }
  put_word(flash, 0x10, static_cast<std::uint16_t>(calibration.revision >> 16));
  put_word(flash, 0x12, static_cast<std::uint16_t>(calibration.revision));
  if (!calibration.radio_id) return flash;
  put_word(flash, radio, 0xA55A);
  put_word(flash, radio + 2 * 19, 0x0777);
  put_word(flash, radio + 2 * 20, *calibration.radio_id);
  // The words: length, checksum, three other words, the word with the calibration value, MAC address.
  const std::uint16_t words[] = {
      18, 0, 0, 0, 0x0348, 0, 0x0218, 0xD6A0, static_cast<std::uint16_t>(0xB100 + calibration.last_mac_byte)};
  std::uint16_t sum = 0;
  for (std::size_t i = 0; i < std::size(words); ++i) {
    put_word(flash, block + 2 * i, words[i]);
    sum ^= words[i];
  }
  put_word(flash, block + 2, static_cast<std::uint16_t>(~sum));
  return flash;
}

// The record of a battery without errors. Its last discharge gave 20 Ah at 1 A.
std::string battery_record() {
  std::string record(132, '\0');
  put_word(record, 2, 2);  // version
  put_word(record, 118, 20000);
  put_word(record, 122, 1000);
  return record;
}

void create_board(const State& state, const Profile& profile) {
  state.file("/proc/cpuinfo", std::string("system type\t\t: ") + profile.system_type +
                                  "\nmachine\t\t\t: simulated\nprocessor\t\t: 0\ncpu model\t\t: " + profile.cpu_model +
                                  "\nBogoMIPS\t\t: 366.18\n");
  char mac[16];
  std::snprintf(mac, sizeof mac, "0218D6A0B1%02X", profile.calibration.last_mac_byte);
  state.file("/etc/board.info", std::string("board.name=") + profile.model + "\nboard.shortname=" + profile.short_name +
                                    "\nboard.subtype=eu\nboard.hwaddr=" + mac + '\n');
  for (const Text& file : common_files) state.file(file.path, file.text);
  state.file("/proc/mtd",
             "dev:    size   erasesize  name\n"
             "mtd0: 00040000 00010000 \"u-boot\"\n"
             "mtd1: 00f80000 00010000 \"firmware\"\n"
             "mtd5: 00010000 00010000 \"EEPROM\"\n");
  state.file("/dev/mtd5", "0x10000\n");
  state.file("/dev/mtdblock5", flash_image(profile.calibration));
  // The SoC's revision register is in the host's byte order. The rest of the file is a hole and reads as zeros.
  state.file("/dev/mem", "");
  std::filesystem::resize_file(state.path("/dev/mem"), 0x18061000);
  std::fstream memory(state.path("/dev/mem"), std::ios::in | std::ios::out | std::ios::binary);
  memory.seekp(0x18060090);
  memory.write(reinterpret_cast<const char*>(&profile.soc_revision), sizeof profile.soc_revision);
}

void create_power(const State& state, const Profile& profile) {
  const bool power = !profile.lines.empty();
  for (const Line& line : power ? std::span<const Line>(common_lines) : std::span<const Line>(generic_lines))
    state.line(line.number, {line.level, line.direction, line.name, false});
  for (const Line& line : profile.lines) state.line(line.number, {line.level, line.direction, line.name, false});
  for (const Text& file : profile.files) {
    state.file(file.path, file.text);
    // Each battery with an estimate also has a record.
    const std::string_view path = file.path;
    const std::string_view estimate = "/tmp/.battery_info";
    if (path.starts_with(estimate))
      state.file("/etc/persistent/battery_data" + std::string(path.substr(estimate.size())), battery_record());
  }
  for (const Register& entry : profile.registers)
    state.i2c(entry.bus, entry.address, register_file(entry.reg),
              "0x" + register_file(static_cast<int>(entry.value)) + '\n');
  if (!profile.smart_battery) return;
  state.i2c(2, 0x0B, "command", "0x0000\n");
  for (const Block& block : smart_battery_blocks) state.i2c(2, 0x0B, block_file(block.subcommand), block.bytes);
}

}  // namespace

std::vector<std::string> profile_names() {
  std::vector<std::string> names;
  for (const Profile& profile : profiles) names.emplace_back(profile.name);
  return names;
}

void create_root(const std::filesystem::path& root, std::string_view name) {
  for (const Profile& profile : profiles) {
    if (name != profile.name) continue;
    if (std::filesystem::exists(root) && !std::filesystem::is_empty(root))
      throw std::runtime_error(root.string() + " is not empty");
    const State state(root);
    for (const char* folder : {"tmp", "etc/persistent", "gpio", "i2c"})
      std::filesystem::create_directories(root / folder);
    for (const char* chip : {"18040000.gpio", "1-0075", "7-0076"})
      state.file(std::string("/dev/gpiochip/by-label/") + chip, "");
    for (const char* bus : {"0", "1", "2", "7", "8"}) state.file(std::string("/dev/i2c-") + bus, "");
    create_board(state, profile);
    create_power(state, profile);
    return;
  }
  throw std::runtime_error("no board '" + std::string(name) + "'");
}

}  // namespace kvrn::sim
