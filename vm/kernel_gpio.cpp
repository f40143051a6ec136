// SPDX-License-Identifier: MIT
// GPIO lines: three chips of gpio-sim, with the labels that the device's chips have.
#include <fcntl.h>
#include <linux/gpio.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "vm/kernel_files.hpp"
#include "vm/kernel_parts.hpp"

namespace kvrn::vm {
namespace {

namespace fs = std::filesystem;

constexpr unsigned lines_per_chip = 64;
constexpr std::array<const char*, 3> labels{"18040000.gpio", "1-0075", "7-0076"};
constexpr const char* by_label = "/dev/gpiochip/by-label/";
constexpr const char* holder_file = "/run/kvrn-holder";

std::string config_folder(unsigned chip) { return "/config/gpio-sim/chip" + std::to_string(chip); }
std::string character_device(unsigned chip) {
  return "/dev/" + first_word(get(config_folder(chip) + "/bank0/chip_name"));
}
std::string line_folder(unsigned packed) {
  const std::string config = config_folder(packed / 100);
  return "/sys/devices/platform/" + first_word(get(config + "/dev_name")) + '/' +
         first_word(get(config + "/bank0/chip_name")) + "/sim_gpio" + std::to_string(packed % 100);
}

void remove_chip(unsigned chip) {
  const std::string folder = config_folder(chip);
  if (!fs::exists(folder)) return;
  put(folder + "/live", "0");
  for (const auto& entry : fs::directory_iterator(folder + "/bank0"))
    if (entry.is_directory()) ::rmdir(entry.path().c_str());
  ::rmdir((folder + "/bank0").c_str());
  ::rmdir(folder.c_str());
}

void make_chip(unsigned chip, const sim::State& state) {
  const std::string bank = config_folder(chip) + "/bank0";
  fs::create_directory(config_folder(chip));
  fs::create_directory(bank);
  put(bank + "/label", labels[chip]);
  put(bank + "/num_lines", std::to_string(lines_per_chip));
  for (unsigned offset = 0; offset < lines_per_chip; ++offset) {
    const auto line = state.line(chip * 100 + offset);
    if (!line || line->name.empty() || line->name == "-") continue;
    const std::string folder = bank + "/line" + std::to_string(offset);
    fs::create_directory(folder);
    put(folder + "/name", line->name);
  }
  put(config_folder(chip) + "/live", "1");
  const std::string link = std::string(by_label) + labels[chip];
  fs::remove(link);
  if (state.file("/dev/gpiochip/by-label/" + std::string(labels[chip])))
    fs::create_symlink(character_device(chip), link);
}

// @return a descriptor of the request; the line is let go with it
int request(unsigned packed, std::uint64_t flags, int level = 0) {
  const int chip = ::open(character_device(packed / 100).c_str(), O_RDONLY | O_CLOEXEC);
  gpio_v2_line_request wanted{};
  wanted.offsets[0] = packed % 100;
  wanted.num_lines = 1;
  wanted.config.flags = flags;
  if ((flags & GPIO_V2_LINE_FLAG_OUTPUT) != 0) {
    wanted.config.num_attrs = 1;
    wanted.config.attrs[0].attr.id = GPIO_V2_LINE_ATTR_ID_OUTPUT_VALUES;
    wanted.config.attrs[0].attr.values = level != 0 ? 1 : 0;
    wanted.config.attrs[0].mask = 1;
  }
  const int result = ::ioctl(chip, GPIO_V2_GET_LINE_IOCTL, &wanted);
  ::close(chip);
  return result < 0 ? -1 : wanted.fd;
}

// Lines that another program holds, by the program: this one, or one that stays behind it.
std::map<unsigned, int> held;

void end_holder() {
  const std::string pid = get(holder_file);
  if (!pid.empty()) ::kill(std::stoi(pid), SIGKILL);
  fs::remove(holder_file);
}

}  // namespace

void lay_line(unsigned packed, const sim::LineState& line) {
  if (const auto now = held.find(packed); now != held.end()) {
    ::close(now->second);
    held.erase(now);
  }
  const bool output = line.direction == "out";
  put(line_folder(packed) + "/pull", line.level != 0 ? "pull-up" : "pull-down");
  const int fd = request(packed, output ? GPIO_V2_LINE_FLAG_OUTPUT : GPIO_V2_LINE_FLAG_INPUT, line.level);
  if (fd < 0) throw std::runtime_error("line " + std::to_string(packed));
  if (line.busy)
    held[packed] = fd;
  else
    ::close(fd);
}

sim::LineState read_line(unsigned packed) {
  sim::LineState line;
  line.level = first_word(get(line_folder(packed) + "/value")) == "1" ? 1 : 0;
  const int chip = ::open(character_device(packed / 100).c_str(), O_RDONLY | O_CLOEXEC);
  gpio_v2_line_info info{};
  info.offset = packed % 100;
  (void)::ioctl(chip, GPIO_V2_GET_LINEINFO_IOCTL, &info);
  ::close(chip);
  line.direction = (info.flags & GPIO_V2_LINE_FLAG_OUTPUT) != 0 ? "out" : "in";
  line.name = info.name;
  line.busy = (info.flags & GPIO_V2_LINE_FLAG_USED) != 0;
  return line;
}

void set_level(unsigned packed, int level) {
  sim::LineState line = read_line(packed);
  line.level = level;
  lay_line(packed, line);
}

void lay_lines(const sim::State& state) {
  end_holder();
  fs::create_directories(by_label);
  for (unsigned chip = 0; chip < labels.size(); ++chip) {
    remove_chip(chip);
    make_chip(chip, state);
    for (unsigned offset = 0; offset < lines_per_chip; ++offset)
      if (const auto line = state.line(chip * 100 + offset)) lay_line(chip * 100 + offset, *line);
  }
}

void keep_lines_busy() {
  if (held.empty()) return;
  const pid_t holder = ::fork();
  if (holder == 0) {
    for (int fd = 0; fd < 3; ++fd) ::close(fd);
    for (;;) ::pause();
  }
  put_file(holder_file, std::to_string(holder));
}

}  // namespace kvrn::vm
