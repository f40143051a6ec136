// SPDX-License-Identifier: MIT
// GPIO chips. A line is a file "gpio/NUMBER" that contains "LEVEL DIRECTION NAME", followed by "busy" while another
// program holds the line. A line request is a descriptor of that file with an exclusive lock. Held lines, copies of the
// descriptor, fork and crashes then behave as with the kernel.
#include <errno.h>
#include <fcntl.h>
#include <linux/gpio.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

#include "sim/hooks/devices.hpp"
#include "sim/hooks/root.hpp"

namespace kvrn::sim {
namespace {

constexpr unsigned lines_per_chip = 64;
constexpr const char* unnamed = "-";

struct Line {
  unsigned number;
  int level;
  char direction[8];
  char name[32];
  bool busy;
};

// A chip has all its lines: one without a file is an input that nothing drives. False for a file without a level.
bool load(unsigned number, Line& line) {
  char text[128];
  char busy[8] = "";
  line = {number, 0, "in", "", false};
  if (!read_state(text, sizeof text, "gpio/%u", number)) return true;
  if (::sscanf(text, "%d %7s %31s %7s", &line.level, line.direction, line.name, busy) < 1) return false;
  if (::strcmp(line.name, unnamed) == 0) line.name[0] = '\0';
  line.busy = ::strcmp(busy, "busy") == 0;
  return true;
}

int fail(int error) {
  errno = error;
  return -1;
}

// When the state cannot be written, the request to the chip fails.
int store(const Line& line) {
  char text[128];
  ::snprintf(text, sizeof text, "%d %s %s%s\n", line.level, line.direction, line.name[0] != '\0' ? line.name : unnamed,
             line.busy ? " busy" : "");
  return write_state(text, "gpio/%u", line.number) ? 0 : fail(EIO);
}

int chip_info(unsigned chip, const char* label, gpiochip_info& info) {
  info = {};
  ::snprintf(info.name, sizeof info.name, "gpiochip%u", chip);
  ::snprintf(info.label, sizeof info.label, "%.31s", label);
  info.lines = lines_per_chip;
  return 0;
}

int open_state(const Line& line, int flags) {
  char path[path_size];
  ::snprintf(path, sizeof path, "%s/gpio/%u", root(), line.number);
  return open_raw(path, flags);
}

bool is_held(const Line& line) {
  if (line.busy) return true;
  const int fd = open_state(line, O_RDONLY);
  if (fd < 0) return false;
  const bool held = ::flock(fd, LOCK_EX | LOCK_NB) != 0;
  ::close(fd);
  return held;
}

int line_info(unsigned chip, gpio_v2_line_info& info) {
  const unsigned offset = info.offset;
  if (offset >= lines_per_chip) return fail(EINVAL);
  info = {};
  info.offset = offset;
  info.flags = GPIO_V2_LINE_FLAG_INPUT;
  Line line;
  if (!load(chip * 100 + offset, line)) return 0;
  ::snprintf(info.name, sizeof info.name, "%s", line.name);
  if (::strcmp(line.direction, "out") == 0) info.flags = GPIO_V2_LINE_FLAG_OUTPUT;
  if (is_held(line)) info.flags |= GPIO_V2_LINE_FLAG_USED;
  return 0;
}

// The initial level of a requested output: inactive, unless the request gives another level.
int initial_level(const gpio_v2_line_config& config) {
  for (unsigned i = 0; i < config.num_attrs && i < GPIO_V2_LINE_NUM_ATTRS_MAX; ++i)
    if (config.attrs[i].attr.id == GPIO_V2_LINE_ATTR_ID_OUTPUT_VALUES) return config.attrs[i].attr.values & 1;
  return 0;
}

uint64_t wanted_flags(const gpio_v2_line_config& config) {
  for (unsigned i = 0; i < config.num_attrs && i < GPIO_V2_LINE_NUM_ATTRS_MAX; ++i)
    if (config.attrs[i].attr.id == GPIO_V2_LINE_ATTR_ID_FLAGS) return config.attrs[i].attr.flags;
  return config.flags;
}

int open_line(Line& line) {
  if (line.busy) return fail(EBUSY);
  int fd = open_state(line, O_RDWR);
  if (fd < 0 && errno == ENOENT && store(line) == 0) fd = open_state(line, O_RDWR);
  if (fd < 0) return -1;
  if (::flock(fd, LOCK_EX | LOCK_NB) == 0) return fd;
  ::close(fd);
  return fail(EBUSY);
}

int request_line(unsigned chip, gpio_v2_line_request& request) {
  if (request.num_lines != 1) return fail(EINVAL);
  const unsigned number = chip * 100 + request.offsets[0];
  Line line;
  if (request.offsets[0] >= lines_per_chip || !load(number, line)) return fail(EINVAL);
  const uint64_t flags = wanted_flags(request.config);
  const bool output = (flags & GPIO_V2_LINE_FLAG_OUTPUT) != 0;
  const bool input = (flags & GPIO_V2_LINE_FLAG_INPUT) != 0;
  // Refuse what is not simulated: active-low lines and edge events.
  constexpr uint64_t unsupported =
      GPIO_V2_LINE_FLAG_ACTIVE_LOW | GPIO_V2_LINE_FLAG_EDGE_RISING | GPIO_V2_LINE_FLAG_EDGE_FALLING;
  if ((output && input) || (flags & unsupported) != 0) return fail(EINVAL);
  const int fd = open_line(line);
  const int level = initial_level(request.config);
  trace("gpio %u request %s%s%s%s", number,
        output  ? "out"
        : input ? "in"
                : "as-is",
        output && level != 0 ? " active" : "", request.consumer[0] != '\0' ? " with consumer" : "",
        outcome(fd < 0 ? errno : 0));
  if (fd < 0) return -1;
  if (output || input) {
    ::snprintf(line.direction, sizeof line.direction, "%s", output ? "out" : "in");
    if (output) line.level = level;
    if (store(line) != 0) {
      ::close(fd);
      return fail(EIO);
    }
  }
  request.fd = fd;
  return 0;
}

}  // namespace

int gpio_chip_ioctl(const char* label, unsigned long request, void* argument) {
  const int chip = gpio_chip_number(label);
  if (chip < 0) return fail(ENODEV);  // the chip's file was removed: the chip is unplugged
  const auto number = static_cast<unsigned>(chip);
  switch (request) {
    case GPIO_GET_CHIPINFO_IOCTL:
      return chip_info(number, label, *static_cast<gpiochip_info*>(argument));
    case GPIO_V2_GET_LINEINFO_IOCTL:
      return line_info(number, *static_cast<gpio_v2_line_info*>(argument));
    case GPIO_V2_GET_LINE_IOCTL:
      return request_line(number, *static_cast<gpio_v2_line_request*>(argument));
    default:
      return fail(ENOTTY);
  }
}

int gpio_line_ioctl(const char* name, unsigned long request, void* argument) {
  Line line;
  if (!load(static_cast<unsigned>(::strtoul(name, nullptr, 10)), line)) return fail(EIO);
  auto& values = *static_cast<gpio_v2_line_values*>(argument);
  switch (request) {
    case GPIO_V2_LINE_GET_VALUES_IOCTL:
      values.bits = line.level != 0 ? values.mask & 1 : 0;
      trace("gpio %u get %d", line.number, line.level);
      return 0;
    case GPIO_V2_LINE_SET_VALUES_IOCTL: {
      line.level = static_cast<int>(values.bits & values.mask & 1);
      const int result = ::strcmp(line.direction, "out") == 0 ? store(line) : fail(EPERM);
      trace("gpio %u set %d%s", line.number, line.level, outcome(result == 0 ? 0 : errno));
      return result;
    }
    default:
      return fail(ENOTTY);
  }
}

int gpio_chip_number(const char* label) {
  constexpr const char* labels[] = {"18040000.gpio", "1-0075", "7-0076"};
  for (int i = 0; i < 3; ++i)
    if (::strcmp(label, labels[i]) == 0) return i;
  return -1;
}

}  // namespace kvrn::sim
