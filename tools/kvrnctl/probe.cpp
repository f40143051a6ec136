// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/probe.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <gpiod.h>
#include <kvrn/board.h>

#include <cerrno>
#include <memory>

#include "battery/sbs_bus.hpp"
#include "board/partition.hpp"
#include "hw/gpio_number.hpp"
#include "hw/smbus.hpp"
#include "tools/kvrnctl/context.hpp"
#include "util/handle.hpp"
#include "util/read_file.hpp"

namespace kvrnctl {
namespace {

template <auto Function>
struct Call {
  template <typename T>
  void operator()(T* object) const {
    Function(object);
  }
};
using Chip = std::unique_ptr<gpiod_chip, Call<gpiod_chip_close>>;
using ChipInfo = std::unique_ptr<gpiod_chip_info, Call<gpiod_chip_info_free>>;
using Info = std::unique_ptr<gpiod_line_info, Call<gpiod_line_info_free>>;
using Settings = std::unique_ptr<gpiod_line_settings, Call<gpiod_line_settings_free>>;
using Config = std::unique_ptr<gpiod_line_config, Call<gpiod_line_config_free>>;
using Request = std::unique_ptr<gpiod_line_request, Call<gpiod_line_request_release>>;

Answer failed(std::string_view step) { return {false, errno, fmt::format("{}: {}", step, errno_text(errno))}; }

Answer read_line(const Chip& chip, unsigned offset) {
  const Settings settings(::gpiod_line_settings_new());
  const Config config(::gpiod_line_config_new());
  if (!settings || !config || ::gpiod_line_config_add_line_settings(config.get(), &offset, 1, settings.get()) != 0)
    return failed("request");
  const Request request(::gpiod_chip_request_lines(chip.get(), nullptr, config.get()));
  if (!request) return failed("request");
  const int value = ::gpiod_line_request_get_value(request.get(), offset);
  if (value < 0) return failed("read");
  return {true, 0, std::to_string(value)};
}

Answer read_line(std::uint32_t chip_index, unsigned offset, const std::string* name) {
  if (chip_index >= kvrn::gpio_chips.size()) return {false, 0, "no such chip"};
  const Chip chip(::gpiod_chip_open(kvrn::gpio_chips[chip_index]));
  if (!chip) return failed("open");
  if (name != nullptr) {
    const int found = ::gpiod_chip_get_line_offset_from_name(chip.get(), name->c_str());
    if (found < 0) return {false, errno, "no line of that name on the chip"};
    offset = static_cast<unsigned>(found);
  }
  return read_line(chip, offset);
}

}  // namespace

Answer probe_gpio(std::uint32_t number) {
  return read_line(kvrn::gpio_chip_index(number), kvrn::gpio_offset(number), nullptr);
}

Answer probe_gpio(std::uint32_t chip, const std::string& name) { return read_line(chip, 0, &name); }

std::vector<LineInfo> probe_lines(std::uint32_t chip_index, Answer& answer) {
  std::vector<LineInfo> lines;
  const Chip chip(::gpiod_chip_open(kvrn::gpio_chips[chip_index]));
  const ChipInfo info(chip ? ::gpiod_chip_get_info(chip.get()) : nullptr);
  if (!info) {
    answer = failed("open");
    return lines;
  }
  const auto text = [](const char* value) { return std::string(value == nullptr ? "" : value); };
  for (unsigned offset = 0; offset < ::gpiod_chip_info_get_num_lines(info.get()); ++offset)
    if (const Info line{::gpiod_chip_get_line_info(chip.get(), offset)})
      lines.push_back({offset, text(::gpiod_line_info_get_name(line.get())),
                       ::gpiod_line_info_get_direction(line.get()) == GPIOD_LINE_DIRECTION_OUTPUT,
                       ::gpiod_line_info_is_used(line.get()), text(::gpiod_line_info_get_consumer(line.get()))});
  answer = {true, 0, {}};
  return lines;
}

std::optional<std::uint32_t> find_line(std::uint32_t chip_index, const std::string& name) {
  const Chip chip(::gpiod_chip_open(kvrn::gpio_chips[chip_index]));
  const int offset = chip ? ::gpiod_chip_get_line_offset_from_name(chip.get(), name.c_str()) : -1;
  if (offset < 0) return std::nullopt;
  return kvrn::gpio_packed(chip_index, static_cast<std::uint32_t>(offset));
}

Answer probe_number(const char* path) {
  char buffer[512];
  const kvrn::Fd fd = kvrn::Fd::open(path, O_RDONLY | O_NONBLOCK);
  if (!fd) return failed("open");
  const ssize_t got = ::read(fd.get(), buffer, sizeof buffer);
  if (got < 0) return failed("read");
  const auto value = kvrn::parse_d(std::string_view(buffer, static_cast<std::size_t>(got)));
  if (!value) return {false, 0, got == 0 ? "empty" : "no number in it"};
  return {true, 0, std::to_string(*value)};
}

Answer probe_text(const char* path, const char* key) {
  char buffer[4096];
  const kvrn::Fd fd = kvrn::Fd::open(path, O_RDONLY);
  if (!fd) return failed("open");
  const ssize_t got = ::read(fd.get(), buffer, sizeof buffer);
  if (got < 0) return failed("read");
  const std::string_view text(buffer, static_cast<std::size_t>(got));
  const std::size_t at = text.find(key);
  if (at == std::string_view::npos) return {false, 0, fmt::format("no line with '{}'", key)};
  std::string_view line = text.substr(at, text.find('\n', at) - at);
  if (const std::size_t colon = line.find(':'); colon != std::string_view::npos) line.remove_prefix(colon + 1);
  const std::size_t start = line.find_first_not_of(" \t");
  return {true, 0, std::string(start == std::string_view::npos ? "empty" : line.substr(start))};
}

Answer probe_calibration() {
  // The library says nothing but yes or no; the devices of the partition say why.
  const std::unique_ptr<ar7240_eeprom, Call<ar7240_eeprom_free>> image(::ar7240_eeprom_parse());
  if (image) return {true, 0, "read"};
  const Answer partitions = probe_text("/proc/mtd", "mtd");
  if (!partitions.ok) return {false, partitions.error, "/proc/mtd: " + partitions.text};
  const auto number = kvrn::find_calibration_partition();
  if (!number) return {false, 0, "no partition named EEPROM or ART"};
  for (const char* kind : {"mtd", "mtdblock"}) {
    const std::string path = fmt::format("/dev/{}{}", kind, *number);
    if (!kvrn::Fd::open(path.c_str(), O_RDONLY)) return failed(path);
  }
  return {false, 0, fmt::format("/dev/mtd{} has no calibration", *number)};
}

Answer probe_revision() {
  const std::uint32_t revision = ::ar724x_get_cpu_revision();
  const auto code = static_cast<std::int32_t>(revision);
  if (code != -1 && code != -2) return {true, 0, fmt::format("0x{:08x}", revision)};
  const kvrn::Fd fd = kvrn::Fd::open("/dev/mem", O_RDONLY);
  if (!fd) return failed("open");
  return {false, 0, "the register cannot be mapped"};
}

Answer probe_block(std::uint16_t subcommand) {
  const kvrn::Fd fd = kvrn::Fd::open(kvrn::sbs_bus_path, O_RDONLY);
  if (!fd) return failed("open");
  if (kvrn::i2c_select(fd.get(), kvrn::sbs_address) < 0) return failed("select");
  i2c_smbus_data data{};
  data.word = subcommand;
  if (kvrn::smbus_transfer(fd.get(), I2C_SMBUS_WRITE, kvrn::sbs::manufacturer_access, I2C_SMBUS_WORD_DATA, data) < 0)
    return failed("write");
  if (kvrn::smbus_transfer(fd.get(), I2C_SMBUS_READ, kvrn::sbs::manufacturer_data, I2C_SMBUS_BLOCK_DATA, data) < 0)
    return failed("read");
  return {true, 0, fmt::format("{} bytes", data.block[0])};
}

Answer probe_register(int bus, std::uint32_t address, std::uint8_t reg, bool word) {
  const kvrn::Fd fd = kvrn::Fd::open(fmt::format("/dev/i2c-{}", bus).c_str(), O_RDWR);
  if (!fd) return failed("open");
  if (kvrn::i2c_select(fd.get(), address) < 0) return failed("select");
  i2c_smbus_data data{};
  const auto size = static_cast<std::uint32_t>(word ? I2C_SMBUS_WORD_DATA : I2C_SMBUS_BYTE_DATA);
  if (kvrn::smbus_transfer(fd.get(), I2C_SMBUS_READ, reg, size, data) < 0) return failed("read");
  if (!word && data.byte == 255) return {false, 0, "255, the supply's \"no data\""};
  return {true, 0, word ? fmt::format("0x{:04x}", data.word) : std::to_string(data.byte)};
}

}  // namespace kvrnctl
