// SPDX-License-Identifier: MIT
// I2C buses: one i2c-stub each. A stub knows its devices from its start, so another set of devices takes it anew.
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

#include "vm/kernel_files.hpp"
#include "vm/kernel_parts.hpp"

namespace kvrn::vm {
namespace {

namespace fs = std::filesystem;

constexpr int smart_battery = 0x0B;
constexpr unsigned refuses = 0xDEAD;  // a register with this word does not answer
constexpr const char* modules[]{"i2c-stub", "i2c-stub-b"};

using Buses = std::map<int, std::set<int>>;  // the addresses that answer, by bus
Buses loaded;

Buses buses_of(const sim::State& state) {
  // The supplies' and the battery's buses are there without a device, too.
  Buses buses{{2, {}}, {8, {}}};
  std::error_code none;
  for (const auto& entry : fs::directory_iterator(state.root() / "i2c", none)) {
    const std::string name = entry.path().filename();
    if (name.ends_with(".busy")) throw CannotExpress{"a busy bus"};
    const std::size_t dash = name.find('-');
    if (!entry.is_directory() || name.ends_with(".absent") || dash == std::string::npos) continue;
    buses[std::stoi(name)].insert(std::stoi(name.substr(dash + 1), nullptr, 16));
  }
  std::erase_if(buses, [&](const auto& bus) { return !state.file("/dev/i2c-" + std::to_string(bus.first)); });
  return buses;
}

std::string options(int bus, const std::set<int>& addresses) {
  std::string chips;
  for (const int address : addresses) chips += (chips.empty() ? "" : ",") + std::to_string(address);
  if (chips.empty()) chips = "0x77";  // a stub must have one
  return "bus=" + std::to_string(bus) + " chip_addr=" + chips + " functionality=0x03790000";
}

int transfer(int bus, int address, char direction, int reg, std::uint32_t size, i2c_smbus_data& data) {
  const int fd = ::open(("/dev/i2c-" + std::to_string(bus)).c_str(), O_RDWR | O_CLOEXEC);
  (void)::ioctl(fd, I2C_SLAVE, static_cast<unsigned long>(address));
  i2c_smbus_ioctl_data request{static_cast<__u8>(direction), static_cast<__u8>(reg), size, &data};
  const int result = ::ioctl(fd, I2C_SMBUS, &request);
  ::close(fd);
  return result;
}

void write_word(int bus, int address, int reg, unsigned word) {
  i2c_smbus_data data{};
  data.word = static_cast<__u16>(word);
  if (transfer(bus, address, I2C_SMBUS_WRITE, reg, I2C_SMBUS_WORD_DATA, data) != 0)
    throw std::runtime_error("register " + std::to_string(reg) + " of a device that is not there");
}

void write_block(int bus, int address, int subcommand, const std::string& text) {
  constexpr int manufacturer_access = 0x00;
  constexpr int manufacturer_data = 0x23;
  i2c_smbus_data data{};
  std::istringstream bytes(text);
  for (std::string byte; data.block[0] < I2C_SMBUS_BLOCK_MAX && bytes >> byte;)
    data.block[++data.block[0]] = static_cast<__u8>(std::stoi(byte, nullptr, 16));
  if (data.block[0] == 0) throw CannotExpress{"a block without bytes"};
  write_word(bus, address, manufacturer_access, static_cast<unsigned>(subcommand));
  if (transfer(bus, address, I2C_SMBUS_WRITE, manufacturer_data, I2C_SMBUS_BLOCK_DATA, data) != 0)
    throw std::runtime_error("block " + std::to_string(subcommand));
}

}  // namespace

void lay_register(int bus, int address, const std::string& file, const std::string& text) {
  const bool refuse = text.starts_with("refuse");
  if (file.starts_with("block-")) {
    if (!refuse) write_block(bus, address, std::stoi(file.substr(6), nullptr, 16), text);
    return;  // a block that nobody wrote refuses
  }
  const unsigned word = refuse ? refuses : static_cast<unsigned>(std::stoul(text, nullptr, 0));
  if (!refuse && word == refuses) throw CannotExpress{"the word 0xdead"};
  // What a smart battery answers at register 0 is not what is written there.
  const int reg = std::stoi(file, nullptr, 16);
  write_word(bus, address, address == smart_battery && reg == 0 ? 0xFE : reg, word);
}

unsigned read_register(int bus, int address, int reg) {
  i2c_smbus_data data{};
  if (transfer(bus, address, I2C_SMBUS_READ, reg, I2C_SMBUS_WORD_DATA, data) != 0) return refuses;
  return data.word;
}

namespace {

void lay_device(const sim::State& state, int bus, int address) {
  std::string command;
  for (const auto& entry : fs::directory_iterator(state.root() / sim::device_folder(bus, address))) {
    const std::string file = entry.path().filename();
    const std::string text = get(entry.path());
    if (file == "command")
      command = text;
    else if (!file.starts_with("was-"))
      lay_register(bus, address, file, text);
  }
  // The last, behind the blocks, which took commands.
  if (!command.empty()) write_word(bus, address, 0, static_cast<unsigned>(std::stoul(command, nullptr, 0)));
}

}  // namespace

void lay_buses(const sim::State& state) {
  const Buses buses = buses_of(state);
  if (buses.size() > std::size(modules)) throw CannotExpress{"more than two buses with devices"};
  for (const char* module : modules) unload_module(module);
  loaded = buses;
  std::size_t module = 0;
  for (const auto& [bus, addresses] : buses) {
    load_module(modules[module++], options(bus, addresses));
    for (const int address : addresses) lay_device(state, bus, address);
  }
}

bool has_device(int bus, int address) {
  const auto found = loaded.find(bus);
  return found != loaded.end() && found->second.contains(address);
}

}  // namespace kvrn::vm
