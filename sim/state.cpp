// SPDX-License-Identifier: MIT
#include "sim/state.hpp"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kvrn::sim {
namespace {

std::string hex(int value) {
  char text[16];
  std::snprintf(text, sizeof text, "%02x", static_cast<unsigned>(value));
  return text;
}

std::optional<std::string> read(const std::filesystem::path& path) {
  // In bytes. A trace of several days can come near this limit.
  constexpr std::uintmax_t largest = std::uintmax_t{256} << 20;
  // Programs on the device may create any file: a FIFO never ends, and a file may have gigabytes of holes.
  if (!std::filesystem::is_regular_file(path)) return std::nullopt;
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  if (std::filesystem::file_size(path) > largest) throw std::runtime_error(path.string() + ": larger than 256 MiB");
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void write(const std::filesystem::path& path, std::string_view text) {
  std::filesystem::create_directories(path.parent_path());
  // Overwrite the file in place, then truncate it: a program that reads at the same time never finds an empty file.
  std::ofstream(path, std::ios::binary | std::ios::app).close();
  std::ofstream out(path, std::ios::binary | std::ios::in | std::ios::out);
  out << text << std::flush;
  if (out) std::filesystem::resize_file(path, text.size());
  if (!out) throw std::runtime_error("cannot write " + path.string());
}

}  // namespace

std::string device_folder(int bus, int address) { return "i2c/" + std::to_string(bus) + '-' + hex(address); }

std::string register_file(int reg) { return hex(reg); }

std::string register_text(unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%02x\n", value);
  return text;
}

std::string block_file(int subcommand) { return "block-" + hex(subcommand); }

std::string block_text(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) text += hex(byte) + ' ';
  if (!text.empty()) text.back() = '\n';
  return text;
}

std::filesystem::path State::path(std::string_view device_path) const {
  const auto inside = std::filesystem::path(device_path).relative_path().lexically_normal();
  if (inside.empty() || inside == "." || *inside.begin() == "..")
    throw std::invalid_argument('\'' + std::string(device_path) + "' is no path on the device");
  return root_ / inside;
}

std::optional<LineState> State::line(unsigned packed) const {
  const auto text = read(root_ / "gpio" / std::to_string(packed));
  if (!text) return std::nullopt;
  LineState line;
  std::string busy;
  std::istringstream(*text) >> line.level >> line.direction >> line.name >> busy;
  line.busy = busy == "busy";
  return line;
}

void State::line(unsigned packed, const LineState& line) const {
  const std::string name = line.name.empty() ? "line-" + std::to_string(packed) : line.name;
  write(root_ / "gpio" / std::to_string(packed),
        std::to_string(line.level) + ' ' + line.direction + ' ' + name + (line.busy ? " busy\n" : "\n"));
}

std::optional<std::string> State::i2c(int bus, int address, std::string_view file) const {
  return read(root_ / device_folder(bus, address) / file);
}

void State::i2c(int bus, int address, std::string_view file, std::string_view text) const {
  write(root_ / device_folder(bus, address) / file, text);
}

std::optional<std::string> State::file(std::string_view device_path) const { return read(path(device_path)); }

void State::file(std::string_view device_path, std::string_view text) const { write(path(device_path), text); }

bool State::remove(std::string_view device_path) const { return std::filesystem::remove_all(path(device_path)) > 0; }

}  // namespace kvrn::sim
