// SPDX-License-Identifier: MIT
// Single GPIO lines through the kernel's character devices.
#include <gpiod.h>
#include <kvrn/hw.h>

#include <array>
#include <cerrno>
#include <memory>

#include "hw/gpio.hpp"
#include "hw/gpio_number.hpp"
#include "util/observe.hpp"
#include "util/pause.hpp"

namespace {

struct Close {
  void operator()(gpiod_chip* chip) const { ::gpiod_chip_close(chip); }
  void operator()(gpiod_line_settings* settings) const { ::gpiod_line_settings_free(settings); }
  void operator()(gpiod_line_config* config) const { ::gpiod_line_config_free(config); }
  void operator()(gpiod_line_request* request) const { ::gpiod_line_request_release(request); }
};
template <typename T>
using Owned = std::unique_ptr<T, Close>;

enum Direction : int { as_is = -1, input = 0, output = 1 };

// A line by its name on the chip, or by its offset where `name` is null.
struct Line {
  const char* chip_path;  // null: the chip does not exist
  unsigned offset;
  const char* name;
  int number = -1;  // packed number, if the caller gave one
};

Line numbered(uint32_t number) {
  const uint32_t chip = kvrn::gpio_chip_index(number);
  return {chip < kvrn::gpio_chips.size() ? kvrn::gpio_chips[chip] : nullptr, kvrn::gpio_offset(number), nullptr,
          static_cast<int>(number)};
}

// A line that must have a name: a null name must not mean line 0.
Line named(const char* chip_path, const char* name) { return {chip_path, 0, name == nullptr ? "" : name}; }

// An opened line. The chip is closed before the request is released.
struct Requested {
  Owned<gpiod_line_request> request;
  Owned<gpiod_chip> chip;
  unsigned offset;
};

gpiod_line_request* request_offset(gpiod_chip* chip, uint32_t offset, int direction) {
  constexpr int attempts = 10;  // another process holds a line only for a few milliseconds
  const Owned<gpiod_line_settings> settings(::gpiod_line_settings_new());
  if (!settings) return nullptr;
  if (direction >= 0) {
    const auto wanted = direction == 0 ? GPIOD_LINE_DIRECTION_INPUT : GPIOD_LINE_DIRECTION_OUTPUT;
    (void)::gpiod_line_settings_set_direction(settings.get(), wanted);  // fails only for unknown directions
  }
  const Owned<gpiod_line_config> config(::gpiod_line_config_new());
  if (!config) return nullptr;
  const unsigned offsets[]{offset};
  if (::gpiod_line_config_add_line_settings(config.get(), offsets, 1, settings.get()) != 0) return nullptr;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    if (gpiod_line_request* granted = ::gpiod_chip_request_lines(chip, nullptr, config.get())) return granted;
    kvrn::pause_us(1000);
  }
  return nullptr;
}

Requested request(const Line& line, Direction direction) {
  Requested result{nullptr, nullptr, line.offset};
  errno = ENODEV;  // the error to report when no system call sets one
  // An empty name would match the first line that the device tree leaves unnamed.
  const bool nameless = line.name != nullptr && *line.name == '\0';
  if (line.chip_path != nullptr && !nameless) result.chip.reset(::gpiod_chip_open(line.chip_path));
  if (!result.chip) return result;
  if (line.name != nullptr) {
    const int offset = ::gpiod_chip_get_line_offset_from_name(result.chip.get(), line.name);
    if (offset < 0) return result;
    result.offset = static_cast<unsigned>(offset);
  }
  result.request.reset(request_offset(result.chip.get(), result.offset, direction));
  return result;
}

std::optional<bool> read_line(const Line& line, Direction direction, kvrn_fact fact = KVRN_FACT_NONE) {
  const Requested requested = request(line, direction);
  int value = -1;
  if (requested.request) value = ::gpiod_line_request_get_value(requested.request.get(), requested.offset);
  const bool failed = value < 0;
  kvrn::tell(line.chip_path, kvrn::reading(KVRN_SOURCE_GPIO, fact),
             failed ? KVRN_OUTCOME_FAILED : KVRN_OUTCOME_ANSWERED, failed ? errno : value, line.number);
  if (failed) return std::nullopt;
  return value == GPIOD_LINE_VALUE_ACTIVE;
}

int code(std::optional<bool> value) { return value ? *value : KVRN_GPIO_FAILED; }

int drive(const Line& line, uint32_t value) {
  // Only 0 and 1 can match a level. Any other value always drives the line. This includes 255, although the read
  // functions use 255 for a failed read.
  const std::optional<bool> now = read_line(line, as_is);
  if (value <= 1 && now && *now == (value == 1)) return 0;
  // The request has no initial value: the line first becomes inactive and then gets its level. The chargers rely on
  // this order.
  const Requested requested = request(line, output);
  const auto refused = [&line] {
    kvrn::tell_failed(line.chip_path, kvrn::reading(KVRN_SOURCE_GPIO, KVRN_FACT_NONE), line.number);
    return -1;
  };
  if (!requested.request) return refused();
  const auto wanted = value != 0 ? GPIOD_LINE_VALUE_ACTIVE : GPIOD_LINE_VALUE_INACTIVE;
  return ::gpiod_line_request_set_value(requested.request.get(), requested.offset, wanted) == 0 ? 0 : refused();
}

}  // namespace

namespace kvrn::gpio {

std::optional<bool> read(uint32_t line, kvrn_fact fact) { return read_line(numbered(line), as_is, fact); }

bool write(uint32_t line, uint32_t value) { return drive(numbered(line), value) == 0; }

}  // namespace kvrn::gpio

const char* get_chip_path(uint32_t chip_index) {
  return chip_index < kvrn::gpio_chips.size() ? kvrn::gpio_chips[chip_index] : "";
}

gpiod_line_request* request_line(gpiod_chip* chip, uint32_t offset, int direction) {
  return chip == nullptr ? nullptr : request_offset(chip, offset, direction);
}

int gpio_read_by_name(const char* chip_path, const char* line_name) {
  return code(read_line(named(chip_path, line_name), as_is));
}

int gpio_read_by_name_force(const char* chip_path, const char* line_name) {
  return code(read_line(named(chip_path, line_name), input));
}

int gpio_read(uint32_t line) { return code(read_line(numbered(line), as_is)); }

int gpio_read_force(uint32_t line) { return code(read_line(numbered(line), input)); }

int gpio_write_ex(const char* chip_path, uint32_t offset, const char* line_name, uint32_t value) {
  return drive({chip_path, offset, line_name}, value);
}

int gpio_write_by_name(const char* chip_path, const char* line_name, uint32_t value) {
  return drive(named(chip_path, line_name), value);
}

int gpio_write(uint32_t line, uint32_t value) { return drive(numbered(line), value); }

void gpio_oe() {}
