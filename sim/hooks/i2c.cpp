// SPDX-License-Identifier: MIT
// I2C buses. A device is a folder "i2c/BUS-ADDRESS", a register a file in it that holds its value ("0x6530") or the
// word "refuse". A folder with a file "command" is a smart battery: a word written to register 0 is kept there, and a
// block read of register 0x23 answers with the bytes of "block-COMMAND".
#include <errno.h>
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
  bool smart_battery() const {
    char text[16];
    return read(text, sizeof text, "command");
  }
};

// @return an errno, 0 when the register answered
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
  if (!target.exists()) return ENXIO;
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

void trace_transfer(const Target& target, const i2c_smbus_ioctl_data& request, int error) {
  const char* size = request.size == I2C_SMBUS_WORD_DATA   ? "word"
                     : request.size == I2C_SMBUS_BYTE_DATA ? "byte"
                                                           : "block";
  const bool reads = request.read_write == I2C_SMBUS_READ;
  char value[16] = "";
  if (!reads)
    ::snprintf(value, sizeof value, " = 0x%02x",
               request.size == I2C_SMBUS_WORD_DATA ? request.data->word : request.data->byte);
  trace("i2c %s-%02x %s %s 0x%02x%s%s", target.bus, target.address, reads ? "read" : "write", size, request.command,
        value, outcome(error));
}

}  // namespace

int i2c_ioctl(int fd, const char* bus, unsigned long request, void* argument) {
  if (request == I2C_SLAVE || request == I2C_SLAVE_FORCE) {
    const auto address = reinterpret_cast<unsigned long>(argument);
    if (address > 0x7F) return fail(EINVAL);
    // The selected address is the descriptor's file offset: copies of the descriptor share it, as with the kernel.
    return ::lseek(fd, static_cast<off_t>(address), SEEK_SET) < 0 ? -1 : 0;
  }
  if (request != I2C_SMBUS) return fail(ENOTTY);
  const Target target{bus, static_cast<unsigned>(::lseek(fd, 0, SEEK_CUR))};
  const auto& data = *static_cast<const i2c_smbus_ioctl_data*>(argument);
  const int error = transfer(target, data);
  trace_transfer(target, data, error);
  return error == 0 ? 0 : fail(error);
}

int mtd_ioctl(const char* name, unsigned long request, void* argument) {
  if (request != MEMGETINFO) return fail(ENOTTY);
  char text[32];
  if (!read_state(text, sizeof text, "dev/%s", name)) return fail(EIO);
  auto& info = *static_cast<mtd_info_user*>(argument);
  info = {};
  info.type = MTD_NORFLASH;
  info.size = static_cast<unsigned>(::strtoul(text, nullptr, 0));
  info.erasesize = 65536;
  info.writesize = 1;
  return 0;
}

}  // namespace kvrn::sim
