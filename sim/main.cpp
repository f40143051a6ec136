// SPDX-License-Identifier: MIT
// kvrn-sim: makes a simulated device, changes it while programs run, and runs programs on it.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "sim/hooks/root.hpp"
#include "sim/profiles.hpp"
#include "sim/state.hpp"
#include "tools/cli/command.hpp"

namespace {

using kvrn::sim::State;
using Words = std::vector<std::string>;

// refuse() reports wrong usage; fail() reports every other error.
[[noreturn]] void refuse(const std::string& why) { throw std::invalid_argument(why); }
[[noreturn]] void fail(const std::string& why) { throw std::runtime_error(why); }

// Converts a text that has only digits: no sign, no blank.
std::optional<unsigned> digits(std::string_view text, int base) {
  unsigned value = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value, base);
  if (error != std::errc() || rest != end) return std::nullopt;
  return value;
}

// Decimal, or hexadecimal with 0x.
unsigned to_number(const std::string& text, unsigned limit) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const auto value = digits(std::string_view(text).substr(hexadecimal ? 2 : 0), hexadecimal ? 16 : 10);
  if (!value) refuse(fmt::format("'{}' is no number", text));
  if (*value > limit) refuse(fmt::format("{} is too large: at most {} (0x{:x})", text, limit, limit));
  return *value;
}

// The suffix of an I2C device's folder while the device is pulled (unplugged).
constexpr std::string_view pulled = ".absent";

// The names in one of the device's folders that begin with a prefix. The names are sorted, and the prefix is removed.
Words names_in(const State& state, std::string_view folder, const std::string& prefix) {
  Words names;
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator(state.path(folder), none)) {
    const std::string name = entry.path().filename();
    const bool is_note = name.ends_with(".busy") || name.ends_with(pulled);
    if (name.starts_with(prefix) && !is_note) names.push_back(name.substr(prefix.size()));
  }
  std::sort(names.begin(), names.end());
  return names;
}

// Refuses a name that the device does not have, because it is probably a typing error. `add` allows new names.
void expect_known(const State& state, bool add, const char* what, std::string_view folder, const std::string& name,
                  const std::string& prefix = "") {
  if (add || std::filesystem::exists(state.path(folder) / (prefix + name))) return;
  const Words known = names_in(state, folder, prefix);
  refuse(fmt::format("this device has no {} '{}': {}; --new adds it", what, name,
                     known.empty() ? "it has none" : fmt::format("it has {}", fmt::join(known, ", "))));
}

// Finds a line by its packed number, or by its name on the board.
unsigned to_line(const State& state, const std::string& text) {
  Words known;
  for (const std::string& number : names_in(state, "gpio", "")) {
    const unsigned packed = to_number(number, 263);
    known.push_back(state.line(packed).value_or(kvrn::sim::LineState{}).name);
    if (known.back() == text) return packed;
  }
  if (std::isalpha(static_cast<unsigned char>(text[0])))
    refuse(fmt::format("this device has no line '{}': it has {}", text, fmt::join(known, ", ")));
  const unsigned number = to_number(text, 263);
  if (number % 100 > 63) refuse(fmt::format("{} is no line: chip (0 to 2) x 100 + offset (0 to 63)", text));
  return number;
}

constexpr unsigned last_bus = 255;

// "2-0b" is bus 2, address 0x0b.
std::pair<int, int> to_device(const std::string& text) {
  const std::size_t dash = std::min(text.find('-'), text.size());
  const auto bus = digits(std::string_view(text).substr(0, dash), 10);
  const auto address = digits(std::string_view(text).substr(std::min(dash + 1, text.size())), 16);
  if (!bus || !address || *bus > last_bus || *address > 0x7F)
    refuse(fmt::format("'{}' is no I2C device: give BUS-ADDRESS, e.g. 2-0b", text));
  return {*bus, *address};
}

std::string i2c_name(int bus, int address) {
  return std::filesystem::path(kvrn::sim::device_folder(bus, address)).filename();
}

bool is_block(const std::string& text) { return text.starts_with("block-"); }

// The name of the file that holds a register or a block.
std::string to_register(const std::string& text) {
  if (!is_block(text)) return kvrn::sim::register_file(static_cast<int>(to_number(text, 0xFF)));
  const auto subcommand = digits(std::string_view(text).substr(6), 16);
  if (!subcommand || text.size() != 8) refuse(fmt::format("'{}' is no block: give e.g. block-71", text));
  return kvrn::sim::block_file(static_cast<int>(*subcommand));
}

// Checks the bytes of a block: the hooks read them as hexadecimal numbers.
const std::string& to_block(const std::string& text) {
  std::istringstream bytes(text);
  for (std::string byte; bytes >> byte;)
    if (digits(byte, 16).value_or(256) > 0xFF) refuse(fmt::format("'{}' is no byte in hexadecimal", byte));
  return text;
}

void expect(const Words& words, std::size_t count, const char* usage) {
  if (words.size() != count) refuse(fmt::format("usage: {}", usage));
}

// Checks that a path on the device is absolute.
const std::string& to_path(const std::string& text) {
  if (!text.starts_with('/')) refuse(fmt::format("'{}' is no path on the device: it begins with /", text));
  return text;
}

void set_gpio(const State& state, bool add, const Words& words) {
  expect(words, 3, "set ROOT gpio NUMBER|NAME 0|1|busy|free");
  const unsigned number = to_line(state, words[1]);
  expect_known(state, add, "line", "gpio", std::to_string(number));
  auto line = state.line(number).value_or(kvrn::sim::LineState{});
  if (words[2] == "busy" || words[2] == "free")
    line.busy = words[2] == "busy";
  else
    line.level = static_cast<int>(to_number(words[2], 1));
  state.line(number, line);
}

// Unplugs an I2C device, or plugs it in again with its old registers.
void plug(const State& state, const std::string& device, bool present) {
  const auto [bus, address] = to_device(device);
  const std::string name = i2c_name(bus, address);
  const auto place = state.path(kvrn::sim::device_folder(bus, address));
  const std::filesystem::path aside = place.string() + std::string(pulled);
  const bool there = std::filesystem::exists(place);
  if (!std::filesystem::exists(aside)) expect_known(state, false, "I2C device", "i2c", name);
  if (there == present) return;
  std::filesystem::remove_all(there ? aside : place);
  std::filesystem::rename(there ? place : aside, there ? aside : place);
}

void set_i2c(const State& state, bool add, const Words& words) {
  if (words.size() == 3 && (words[2] == "absent" || words[2] == "present"))
    return plug(state, words[1], words[2] == "present");
  if (words.size() == 3 && (words[2] == "busy" || words[2] == "free")) {
    const std::string bus = std::to_string(to_number(words[1], last_bus));
    expect_known(state, add, "I2C bus", "/dev", bus, "i2c-");
    const std::string file = fmt::format("/i2c/{}.busy", bus);
    if (words[2] == "busy")
      state.file(file, "");
    else
      (void)state.remove(file);
    return;
  }
  expect(words, 4, "set ROOT i2c BUS-ADDRESS REGISTER VALUE|refuse, BUS-ADDRESS absent|present, or BUS busy|free");
  const auto [bus, address] = to_device(words[1]);
  const std::string value = words[3] == "refuse" ? words[3]
                            : is_block(words[2]) ? to_block(words[3])
                                                 : fmt::format("0x{:02x}", to_number(words[3], 0xFFFF));
  const std::string reg = to_register(words[2]);
  const std::string device = kvrn::sim::device_folder(bus, address);
  if (std::filesystem::exists(state.path(device + std::string(pulled))) && !std::filesystem::exists(state.path(device)))
    refuse(fmt::format("'{0}' is pulled: set ROOT i2c {0} present puts it back", words[1]));
  expect_known(state, add, "I2C device", "i2c", i2c_name(bus, address));
  expect_known(state, add, "register", device, reg);
  const std::string bus_path = fmt::format("/dev/i2c-{}", bus);
  if (!state.file(bus_path)) state.file(bus_path, "");
  state.i2c(bus, address, reg, value + '\n');
}

void set_hwmon(const State& state, bool add, const Words& words) {
  expect(words, 4, "set ROOT hwmon MONITOR ATTRIBUTE TEXT");
  constexpr std::string_view monitors = "/var/run/hwmon";
  expect_known(state, add, "monitor", monitors, words[1]);
  const std::string folder = fmt::format("{}/{}", monitors, words[1]);
  expect_known(state, add, "attribute", folder, words[2]);
  state.file(fmt::format("{}/{}", folder, words[2]), words[3] + '\n');
}

void set(const State& state, bool add, const Words& words) {
  const std::string& kind = words.at(0);
  if (kind == "gpio") return set_gpio(state, add, words);
  if (kind == "i2c") return set_i2c(state, add, words);
  if (kind == "hwmon") return set_hwmon(state, add, words);
  if (kind == "file") {
    expect(words, 3, "set ROOT file PATH TEXT");
    if (!add && !kvrn::sim::is_device_path(to_path(words[1]).c_str()))
      refuse(fmt::format(
          "'{}' is not one of the device's paths: programs see the machine's; --new writes it all the same", words[1]));
    return state.file(to_path(words[1]), words[2]);
  }
  refuse(fmt::format("'{}' is nothing to set: gpio, i2c, file or hwmon", kind));
}

std::string get(const State& state, const Words& words) {
  const std::string& kind = words.at(0);
  std::optional<std::string> text;
  if (kind == "gpio" && words.size() == 2) {
    if (const auto line = state.line(to_line(state, words[1])))
      text = fmt::format("{} {} {}{}\n", line->level, line->direction, line->name, line->busy ? " busy" : "");
  } else if (kind == "i2c" && words.size() == 3) {
    const auto [bus, address] = to_device(words[1]);
    text = state.i2c(bus, address, to_register(words[2]));
  } else if (kind == "file" && words.size() == 2) {
    text = state.file(to_path(words[1]));
  } else if (kind == "hwmon" && words.size() == 3) {
    text = state.file(fmt::format("/var/run/hwmon/{}/{}", words[1], words[2]));
  } else {
    refuse("usage: get ROOT gpio NUMBER|NAME | i2c BUS-ADDRESS REGISTER | file PATH | hwmon MONITOR ATTRIBUTE");
  }
  if (!text) fail("there is no such thing on this device");
  return *text;
}

void unset(const State& state, const std::string& path) {
  if (!state.remove(to_path(path))) fail(fmt::format("{}: there is no such thing on this device", path));
}

void trace(const State& state, const std::string& what) {
  if (what == "on" || what == "clear")
    state.file("trace", "");
  else if (what == "off")
    (void)state.remove("trace");
  else
    fmt::print("{}", state.file("trace").value_or(""));
}

// Finds the library of hooks: relative to the program, in the build folder as well as when installed.
std::filesystem::path hooks() {
  const auto program = std::filesystem::canonical("/proc/self/exe").parent_path();
  for (const auto& folder : {program / "../lib", program / "../" KVRN_LIBDIR, program})
    if (std::filesystem::exists(folder / "libkvrn-sim.so"))
      return std::filesystem::canonical(folder / "libkvrn-sim.so");
  fail("libkvrn-sim.so is not where kvrn-sim expects it (../lib)");
}

void run(const State& state, const Words& command) {
  ::setenv("KVRN_SIM_ROOT", std::filesystem::canonical(state.root()).c_str(), 1);
  std::string preload = hooks();
  // ld.so would split such a path, print at most a warning, and run the program on the machine instead of the device.
  if (preload.find_first_of(" :$") != std::string::npos)
    fail(fmt::format("{}: a blank, ':' or '$' in this path keeps it from being loaded; install it elsewhere", preload));
  if (const char* others = std::getenv("LD_PRELOAD")) preload += std::string(":") + others;
  ::setenv("LD_PRELOAD", preload.c_str(), 1);
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  ::execvp(arguments[0], arguments.data());
  fail(fmt::format("{}: {}", command[0], std::strerror(errno)));
}

struct Arguments {
  std::string root;
  std::string board = "four-source";
  std::string what = "show";
  bool add = false;
  Words words;
};

State existing(const std::string& root) {
  if (!std::filesystem::is_directory(std::filesystem::path(root) / "gpio"))
    fail(fmt::format("{} is no simulated device: make one with 'kvrn-sim new {}'", root, root));
  return State(std::filesystem::absolute(root));
}

cli::Command& add(cli::Command& program, const char* name, const char* text, Arguments& arguments,
                  std::function<void()> action) {
  cli::Command& command = program.command(name, text);
  command.argument("ROOT", &arguments.root, "Folder of the device");
  command.action(std::move(action));
  return command;
}

void define(cli::Command& program, Arguments& arguments) {
  add(program, "new", "Make a device", arguments, [&] { kvrn::sim::create_root(arguments.root, arguments.board); })
      .option("--board NAME", &arguments.board, "What it starts as")
      .choice(kvrn::sim::profile_names());
  add(program, "set",
      "Change it: gpio 111 0|1|busy|free, i2c 2-0b 0x09 VALUE|refuse, i2c 2-0b absent|present, i2c 2 busy|free, "
      "hwmon MONITOR ATTRIBUTE TEXT, file PATH TEXT",
      arguments, [&] { set(existing(arguments.root), arguments.add, arguments.words); })
      .argument("WHAT...", &arguments.words, "What and its new state");
  program.commands.back().flag("--new", arguments.add, "Add what the board does not have");
  program.commands.back().footer("A line goes by its number or its name; present puts back what absent pulled.");
  add(program, "unset", "Remove one of its files", arguments, [&] {
    unset(existing(arguments.root), arguments.what);
  }).argument("PATH", &arguments.what, "Path on the device");
  add(program, "get", "Show a part of its state", arguments, [&] {
    fmt::print("{}", get(existing(arguments.root), arguments.words));
  }).argument("WHAT...", &arguments.words, "As for set");
  add(program, "trace", "Log what programs do with it", arguments,
      [&] { trace(existing(arguments.root), arguments.what); })
      .argument("[WHAT]", &arguments.what, "What to do with the log")
      .choice({"on", "off", "clear", "show"});
  add(program, "run", "Run a program on it", arguments, [&] {
    run(existing(arguments.root), arguments.words);
  }).argument("PROGRAM...", &arguments.words, "The program and its arguments, after --");
  program.command("profiles", "List the boards").alias("boards").action([] {
    for (const std::string& name : kvrn::sim::profile_names()) fmt::print("{}\n", name);
  });
}

}  // namespace

int main(int argc, char** argv) {
  cli::Command program("kvrn-sim", "A simulated device for programs that use libkvrn");
  program.footer("Exit status: 0 done, 1 failed, 2 wrong usage; `run` ends with the program's own.");
  Arguments arguments;
  define(program, arguments);
  // Not fmt::print, which throws when standard error cannot be written.
  const auto say = [](const std::exception& error) {
    (void)std::fputs(fmt::format("kvrn-sim: {}\n", error.what()).c_str(), stderr);
  };
  try {
    const int status = cli::parse(program, KVRN_VERSION, argc, argv).value_or(0);
    if (std::fflush(stdout) != 0) fail(fmt::format("cannot write: {}", std::strerror(errno)));
    return status;
  } catch (const std::invalid_argument& error) {
    say(error);
    return 2;
  } catch (const std::exception& error) {
    say(error);
    return 1;
  }
}
