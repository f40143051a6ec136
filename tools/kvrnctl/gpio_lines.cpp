// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/gpio_lines.hpp"

#include <gpiod.h>

#include <memory>

#include "hw/gpio_number.hpp"

namespace kvrnctl {
namespace {

struct Close {
  void operator()(gpiod_chip* chip) const { ::gpiod_chip_close(chip); }
  void operator()(gpiod_chip_info* info) const { ::gpiod_chip_info_free(info); }
  void operator()(gpiod_line_info* info) const { ::gpiod_line_info_free(info); }
};
template <typename T>
using Owned = std::unique_ptr<T, Close>;

Owned<gpiod_chip> open(std::uint32_t chip) { return Owned<gpiod_chip>(::gpiod_chip_open(kvrn::gpio_chips[chip])); }

std::string text(const char* value) { return value == nullptr ? "" : value; }

}  // namespace

std::optional<std::vector<LineInfo>> lines_of_chip(std::uint32_t chip_index) {
  const Owned<gpiod_chip> chip = open(chip_index);
  const Owned<gpiod_chip_info> info(chip ? ::gpiod_chip_get_info(chip.get()) : nullptr);
  if (!info) return std::nullopt;
  std::vector<LineInfo> lines;
  for (unsigned offset = 0; offset < ::gpiod_chip_info_get_num_lines(info.get()); ++offset)
    if (const Owned<gpiod_line_info> line{::gpiod_chip_get_line_info(chip.get(), offset)})
      lines.push_back({offset, text(::gpiod_line_info_get_name(line.get())),
                       ::gpiod_line_info_get_direction(line.get()) == GPIOD_LINE_DIRECTION_OUTPUT,
                       ::gpiod_line_info_is_used(line.get()), text(::gpiod_line_info_get_consumer(line.get()))});
  return lines;
}

std::optional<std::uint32_t> find_line(std::uint32_t chip_index, const std::string& name) {
  const Owned<gpiod_chip> chip = open(chip_index);
  const int offset = chip ? ::gpiod_chip_get_line_offset_from_name(chip.get(), name.c_str()) : -1;
  if (offset < 0) return std::nullopt;
  return kvrn::gpio_packed(chip_index, static_cast<std::uint32_t>(offset));
}

}  // namespace kvrnctl
