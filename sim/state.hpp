// SPDX-License-Identifier: MIT
// The state of a simulated device: a folder of text files. The hooks read and write the same files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kvrn::sim {

struct LineState {
  int level = 0;
  std::string direction = "in";
  std::string name;
  bool busy = false;
};

class State {
 public:
  explicit State(std::filesystem::path root) : root_(std::move(root)) {}
  const std::filesystem::path& root() const { return root_; }
  // @throws std::invalid_argument for a path that names the folder itself or leaves it
  std::filesystem::path path(std::string_view device_path) const;

  std::optional<LineState> line(unsigned packed) const;
  void line(unsigned packed, const LineState& line) const;

  // A register's text ("0x1234" or "refuse"), or a smart battery's block as bytes in hexadecimal.
  std::optional<std::string> i2c(int bus, int address, std::string_view file) const;
  void i2c(int bus, int address, std::string_view file, std::string_view text) const;

  std::optional<std::string> file(std::string_view device_path) const;
  void file(std::string_view device_path, std::string_view text) const;
  // @return whether there was one
  bool remove(std::string_view device_path) const;

 private:
  std::filesystem::path root_;
};

// "i2c/2-0b"
std::string device_folder(int bus, int address);
std::string register_file(int reg);
std::string register_text(unsigned value);
std::string block_file(int subcommand);
std::string block_text(std::span<const std::uint8_t> bytes);

}  // namespace kvrn::sim
