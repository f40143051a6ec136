// SPDX-License-Identifier: MIT
// I2C buses. A device is a folder "i2c/BUS-ADDRESS". A register is a file in this folder: it contains the value
// ("0x6530"), or "refuse" when the register must not answer. A folder with a file "command" is a smart battery: a word
// written to register 0 is stored in "command", and a block read of register 0x23 returns the bytes in "block-COMMAND".
// While the file "i2c/BUS.busy" exists, no device of the bus answers.
#include <errno.h>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <mtd/mtd-user.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "sim/hooks/devices.hpp"
#include "sim/hooks/root.hpp"

namespace kvrn::sim {
namespace {

int fail(int error) {
  errno = error;
  return -1;
}

struct Target {
  const char* bus;
  unsigned address;

  bool read(char* text, size_t size, const char* file) const {
    return read_state(text, size, "i2c/%s-%02x/%s", bus, address, file);
  }
  bool write(const char* text, const char* file) const {
    return write_state(text, "i2c/%s-%02x/%s", bus, address, file);
  }
  bool exists() const {
    char path[path_size];
    ::snprintf(path, sizeof path, "%s/i2c/%s-%02x", root(), bus, address);
    return ::access(path, F_OK) == 0;
  }
  bool bus_busy() const {
    char text[4];
    return read_state(text, sizeof text, "i2c/%s.busy", bus);
  }
  bool smart_battery() const {
    char text[16];
    return read(text, sizeof text, "command");
  }
};

// @return an errno value, or 0 when the register answered
int read_register(const Target& target, const char* file, unsigned& value) {
  char text[32];
  if (!target.read(text, sizeof text, file) || ::strncmp(text, "refuse", 6) == 0) return EIO;
  value = static_cast<unsigned>(::strtoul(text, nullptr, 0));
  return 0;
}

int write_register(const Target& target, const char* file, unsigned value, int digits) {
  char text[32];
  if (target.read(text, sizeof text, file) && ::strncmp(text, "refuse", 6) == 0) return EIO;
  ::snprintf(text, sizeof text, "0x%0*x\n", digits, value);
  const bool command = ::strcmp(file, "00") == 0 && target.smart_battery();
  return target.write(text, command ? "command" : file) ? 0 : EIO;
}

int read_block(const Target& target, i2c_smbus_data& data) {
  char command[16];
  char file[32];
  char text[256];
  if (!target.read(command, sizeof command, "command")) return EIO;
  ::snprintf(file, sizeof file, "block-%02lx", ::strtoul(command, nullptr, 0));
  if (!target.read(text, sizeof text, file) || ::strncmp(text, "refuse", 6) == 0) return EIO;
  unsigned count = 0;
  char* at = text;
  for (char* end; count < I2C_SMBUS_BLOCK_MAX; at = end) {
    const unsigned long byte = ::strtoul(at, &end, 16);
    if (end == at) break;
    data.block[++count] = static_cast<unsigned char>(byte);
  }
  data.block[0] = static_cast<unsigned char>(count);
  return 0;
}

int transfer(const Target& target, const i2c_smbus_ioctl_data& request) {
  if (target.bus_busy()) return EBUSY;
  if (!target.exists()) return ENXIO;
  if (request.size == I2C_SMBUS_QUICK) return 0;
  if (request.data == nullptr) return EINVAL;
  char file[8];
  ::snprintf(file, sizeof file, "%02x", request.command);
  i2c_smbus_data& data = *request.data;
  const bool reads = request.read_write == I2C_SMBUS_READ;
  unsigned value = 0;
  if (request.size == I2C_SMBUS_BLOCK_DATA && reads && request.command == 0x23) return read_block(target, data);
  if (request.size != I2C_SMBUS_WORD_DATA && request.size != I2C_SMBUS_BYTE_DATA) return EOPNOTSUPP;
  const bool word = request.size == I2C_SMBUS_WORD_DATA;
  if (!reads) return write_register(target, file, word ? data.word : data.byte, word ? 4 : 2);
  const int error = read_register(target, file, value);
  if (error != 0) return error;
  if (word)
    data.word = static_cast<unsigned short>(value);
  else
    data.byte = static_cast<unsigned char>(value);
  return 0;
}

// The transferred value for the trace: " 74 0e", " 0x6530" or " 0x87".
struct ValueText {
  char chars[3 * I2C_SMBUS_BLOCK_MAX + 1] = "";

  explicit ValueText(const i2c_smbus_ioctl_data& request) {
    if (request.data == nullptr) return;
    const i2c_smbus_data& data = *request.data;
    if (request.size == I2C_SMBUS_WORD_DATA) ::snprintf(chars, sizeof chars, " 0x%04x", data.word);
    if (request.size == I2C_SMBUS_BYTE_DATA) ::snprintf(chars, sizeof chars, " 0x%02x", data.byte);
    if (request.size != I2C_SMBUS_BLOCK_DATA) return;
    for (int i = 0; i < data.block[0] && i < I2C_SMBUS_BLOCK_MAX; ++i)
      ::snprintf(chars + 3 * i, 4, " %02x", data.block[i + 1]);
  }
};

void trace_transfer(const Target& target, const i2c_smbus_ioctl_data& request, int error) {
  const char* size = request.size == I2C_SMBUS_WORD_DATA    ? "word"
                     : request.size == I2C_SMBUS_BYTE_DATA  ? "byte"
                     : request.size == I2C_SMBUS_BLOCK_DATA ? "block"
                                                            : "quick";
  const bool reads = request.read_write == I2C_SMBUS_READ;
  const bool answered = error == 0 && request.size != I2C_SMBUS_QUICK;
  const char* mark = !reads ? " =" : answered ? " ->" : "";
  trace("i2c %s-%02x %s %s 0x%02x%s%s%s", target.bus, target.address, reads ? "read" : "write", size, request.command,
        mark, reads && !answered ? "" : ValueText(request).chars, outcome(error));
}

}  // namespace

int i2c_ioctl(int fd, const char* bus, unsigned long request, void* argument) {
  if (request == I2C_SLAVE || request == I2C_SLAVE_FORCE) {
    const auto address = reinterpret_cast<unsigned long>(argument);
    if (address > 0x7F) return fail(EINVAL);
    // The file offset holds the selected address. Copies of the descriptor share the offset, as they share the address
    // in the kernel.
    return ::lseek(fd, static_cast<off_t>(address), SEEK_SET) < 0 ? -1 : 0;
  }
  if (request == I2C_FUNCS) {
    *static_cast<unsigned long*>(argument) =
        I2C_FUNC_SMBUS_QUICK | I2C_FUNC_SMBUS_BYTE_DATA | I2C_FUNC_SMBUS_WORD_DATA | I2C_FUNC_SMBUS_READ_BLOCK_DATA;
    return 0;
  }
  if (request != I2C_SMBUS) return fail(ENOTTY);
  const Target target{bus, static_cast<unsigned>(::lseek(fd, 0, SEEK_CUR))};
  const auto& data = *static_cast<const i2c_smbus_ioctl_data*>(argument);
  const int error = transfer(target, data);
  trace_transfer(target, data, error);
  return error == 0 ? 0 : fail(error);
}

// The size is the number in "dev/mtdN", or else the length of "dev/mtdblockN". With the number, a partition can claim
// to be larger than it is.
int mtd_ioctl(const char* name, unsigned long request, void* argument) {
  if (request != MEMGETINFO) return fail(ENOTTY);
  char text[32];
  if (::strncmp(name, "mtdblock", 8) == 0 || !read_state(text, sizeof text, "dev/%s", name)) return fail(ENOTTY);
  char* end = nullptr;
  unsigned long size = ::strtoul(text, &end, 0);
  if (end == text) {
    char path[path_size];
    ::snprintf(path, sizeof path, "%s/dev/mtdblock%s", root(), name + 3);
    const int fd = open_raw(path, O_RDONLY);
    const off_t length = fd < 0 ? -1 : ::lseek(fd, 0, SEEK_END);
    if (fd >= 0) ::close(fd);
    if (length < 0) return fail(ENODEV);
    size = static_cast<unsigned long>(length);
  }
  auto& info = *static_cast<mtd_info_user*>(argument);
  info = {};
  info.type = MTD_NORFLASH;
  info.size = static_cast<unsigned>(size);
  info.erasesize = 65536;
  info.writesize = 1;
  trace("%s size %lu", name, size);
  return 0;
}

}  // namespace kvrn::sim
