// SPDX-License-Identifier: MIT
// The simulated device behaves as the kernel does, seen through plain system calls.
#include <dirent.h>
#include <fcntl.h>
#include <glob.h>
#include <linux/gpio.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/resource.h>

#include <cerrno>
#include <set>

#include "tests/device.hpp"
#include "util/handle.hpp"

using kvrn::Fd;

namespace {

constexpr const char* expander = "/dev/gpiochip/by-label/1-0075";
constexpr std::uint64_t as_is = 0;
constexpr std::uint64_t input = GPIO_V2_LINE_FLAG_INPUT;
constexpr std::uint64_t output = GPIO_V2_LINE_FLAG_OUTPUT;

// 0 or a negative errno.
int call(const Fd& fd, unsigned long request, void* argument) {
  return ::ioctl(fd.get(), request, argument) < 0 ? -errno : 0;
}
int select(const Fd& bus, long address) { return call(bus, I2C_SLAVE, reinterpret_cast<void*>(address)); }

// A line's descriptor or a negative errno.
int request(const Fd& chip, unsigned offset, std::uint64_t flags, bool active = false) {
  gpio_v2_line_request wanted{};
  wanted.num_lines = 1;
  wanted.offsets[0] = offset;
  wanted.config.flags = flags;
  wanted.config.num_attrs = active ? 1 : 0;
  wanted.config.attrs[0].attr.id = GPIO_V2_LINE_ATTR_ID_OUTPUT_VALUES;
  wanted.config.attrs[0].attr.values = 1;
  const int result = call(chip, GPIO_V2_GET_LINE_IOCTL, &wanted);
  return result < 0 ? result : wanted.fd;
}

int level(const Fd& line) {
  gpio_v2_line_values values{0, 1};
  const int result = call(line, GPIO_V2_LINE_GET_VALUES_IOCTL, &values);
  return result < 0 ? result : static_cast<int>(values.bits);
}

int set_level(const Fd& line, unsigned level) {
  gpio_v2_line_values values{level, 1};
  return call(line, GPIO_V2_LINE_SET_VALUES_IOCTL, &values);
}

int transfer(const Fd& bus, char direction, int reg, std::uint32_t size, i2c_smbus_data& data) {
  i2c_smbus_ioctl_data request{static_cast<std::uint8_t>(direction), static_cast<std::uint8_t>(reg), size, &data};
  return call(bus, I2C_SMBUS, &request);
}

int read_word(const Fd& bus, int reg) {
  i2c_smbus_data data{};
  const int result = transfer(bus, I2C_SMBUS_READ, reg, I2C_SMBUS_WORD_DATA, data);
  return result < 0 ? result : data.word;
}

int write_word(const Fd& bus, int reg, std::uint16_t word) {
  i2c_smbus_data data{};
  data.word = word;
  return transfer(bus, I2C_SMBUS_WRITE, reg, I2C_SMBUS_WORD_DATA, data);
}

}  // namespace

TEST(SimGpio, DirectionsAndLevelsFollowTheRequest) {
  Device device("four-source");
  device.trace(true);
  const Fd chip = Fd::open(expander, O_RDWR);
  gpiochip_info info{};
  EXPECT_EQ(call(chip, GPIO_GET_CHIPINFO_IOCTL, &info), 0);
  EXPECT_STREQ(info.label, "1-0075");
  Fd line(request(chip, 11, as_is));
  gpio_v2_line_info about{};
  about.offset = 11;
  EXPECT_EQ(call(chip, GPIO_V2_GET_LINEINFO_IOCTL, &about), 0);
  EXPECT_EQ(about.flags, output | GPIO_V2_LINE_FLAG_USED);
  about.offset = 64;
  EXPECT_EQ(call(chip, GPIO_V2_GET_LINEINFO_IOCTL, &about), -EINVAL);

  EXPECT_EQ(request(chip, 11, input), -EBUSY);
  EXPECT_EQ(level(line), 1);
  EXPECT_EQ(set_level(line, 0), 0);  // it is an output already
  EXPECT_EQ(device.gpio(111), 0);
  line.reset();
  line = Fd(request(chip, 11, input));
  device.gpio(111, 1);
  EXPECT_EQ(level(line), 1);
  EXPECT_EQ(set_level(line, 0), -EPERM);
  line.reset();
  EXPECT_EQ(device.gpio_direction(111), "in");
  line = Fd(request(chip, 11, output));  // without a value: inactive
  EXPECT_EQ(device.gpio(111), 0);
  EXPECT_EQ(device.gpio_direction(111), "out");
  line.reset();
  line = Fd(request(chip, 11, output, true));
  EXPECT_EQ(device.gpio(111), 1);
  EXPECT_EQ(device.trace(),
            "open /dev/gpiochip/by-label/1-0075\n"
            "gpio 111 request as-is\ngpio 111 request in EBUSY\ngpio 111 get 1\ngpio 111 set 0\n"
            "gpio 111 request in\ngpio 111 get 1\ngpio 111 set 0 EPERM\n"
            "gpio 111 request out\ngpio 111 request out active\n");
  // A state that cannot be written was not taken.
  ::signal(SIGXFSZ, SIG_IGN);
  const rlimit nothing{0, RLIM_INFINITY};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &nothing), 0);
  EXPECT_EQ(set_level(line, 0), -EIO);
  line.reset();
  EXPECT_EQ(request(chip, 11, output), -EIO);
  EXPECT_EQ(request(chip, 11, input | GPIO_V2_LINE_FLAG_ACTIVE_LOW), -EINVAL);  // levels are physical
  EXPECT_EQ(request(chip, 64, input), -EINVAL);
}

TEST(SimGpio, LineIsHeldUntilItsLastDescriptorIsClosed) {
  Device device("four-source");
  const Fd chip = Fd::open(expander, O_RDWR);
  Fd line(request(chip, 11, as_is));
  const Fd copy(::dup(line.get()));
  line.reset();
  EXPECT_EQ(request(chip, 11, as_is), -EBUSY);
  device.remove(expander);  // unplugged while it is open
  EXPECT_EQ(request(chip, 12, as_is), -ENODEV);
}

TEST(SimI2c, AddressBelongsToTheOpenFile) {
  Device device("four-source");
  device.i2c(2, 0x20, 0x01, 0x1234);
  Fd bus = Fd::open("/dev/i2c-2", O_RDWR);
  const Fd other = Fd::open("/dev/i2c-2", O_RDONLY);
  EXPECT_EQ(select(bus, 0x20), 0);
  EXPECT_EQ(select(other, 0x0b), 0);
  EXPECT_EQ(read_word(bus, 0x01), 0x1234);
  EXPECT_EQ(read_word(other, 0x09), 0x6530);
  EXPECT_EQ(select(Fd(::dup(bus.get())), 0x0b), 0);
  EXPECT_EQ(read_word(bus, 0x09), 0x6530);
  EXPECT_EQ(select(bus, 0x80), -EINVAL);
  // The number of a closed bus means nothing for the file that gets it next.
  const int number = bus.get();
  bus.reset();
  const Fd plain = Fd::open("/dev/null", O_RDWR);
  EXPECT_EQ(plain.get(), number);
  EXPECT_LT(select(plain, 0x0b), 0);
}

TEST(SimI2c, RegistersAnswerRefuseAndKeepWhatIsWritten) {
  Device device("four-source");
  const Fd bus = Fd::open("/dev/i2c-2", O_RDWR);
  EXPECT_EQ(select(bus, 0x33), 0);
  EXPECT_EQ(read_word(bus, 0x09), -ENXIO);
  EXPECT_EQ(select(bus, 0x0b), 0);
  EXPECT_EQ(write_word(bus, 0x03, 0xBEEF), 0);
  EXPECT_EQ(device.i2c(2, 0x0b, 0x03), 0xBEEFU);
  i2c_smbus_data data{};
  EXPECT_EQ(transfer(bus, I2C_SMBUS_READ, 0x03, I2C_SMBUS_BYTE_DATA, data), 0);
  EXPECT_EQ(data.byte, 0xEF);
  EXPECT_EQ(read_word(bus, 0x99), -EIO);  // a register that it does not have
  device.i2c_refuse(2, 0x0b, 0x03, true);
  device.trace(true);
  EXPECT_EQ(read_word(bus, 0x03), -EIO);
  EXPECT_EQ(device.trace(), "i2c 2-0b read word 0x03 EIO\n");
  device.i2c_refuse(2, 0x0b, 0x03, false);
  EXPECT_EQ(read_word(bus, 0x03), 0xBEEF);
  device.i2c_busy(2, true);
  EXPECT_EQ(read_word(bus, 0x03), -EBUSY);
  device.i2c_busy(2, false);
  EXPECT_EQ(write_word(bus, 0x00, 0x0099), 0);  // a manufacturer block that it does not have
  EXPECT_EQ(transfer(bus, I2C_SMBUS_READ, 0x23, I2C_SMBUS_BLOCK_DATA, data), -EIO);
  device.remove("/i2c/2-0b");
  EXPECT_EQ(read_word(bus, 0x09), -ENXIO);
}

TEST(SimPaths, ASharedFolderListsWhatIsTheMachinesAndWhatIsTheDevices) {
  Device device("four-source");
  DIR* folder = ::opendir("/dev");
  for (const bool again : {false, true}) {
    std::multiset<std::string> names;
    if (again) ::rewinddir(folder);
    while (const dirent* entry = ::readdir(folder)) names.insert(entry->d_name);
    for (const char* name : {"null", "i2c-2", "mtd5", "mem"}) EXPECT_EQ(names.count(name), 1U) << name << again;
    EXPECT_EQ(names.count("mtd0"), 0U);
  }
  ::closedir(folder);
  glob_t found{};
  EXPECT_EQ(::glob("/tmp/system.c*", 0, nullptr, &found), 0);
  EXPECT_STREQ(found.gl_pathv[0], "/tmp/system.cfg");
  ::globfree(&found);
  dirent** entries;
  const auto wanted = [](const dirent* entry) { return std::strncmp(entry->d_name, "mtd", 3) == 0 ? 1 : 0; };
  ASSERT_EQ(::scandir("/dev", &entries, wanted, ::alphasort), 2);
  EXPECT_STREQ(entries[1]->d_name, "mtdblock5");
  for (int i = 0; i < 2; ++i) ::free(entries[i]);
  ::free(entries);
}

TEST(SimPaths, MachineStaysOutOfReachWhenTheFolderCannotBeOpened) {
  ASSERT_EQ(::access("/proc/cpuinfo", R_OK), 0);  // the machine has one
  const TempDir temporary;
  write_text(temporary / "file", "");
  ASSERT_EQ(::symlink("loop", (temporary / "loop").c_str()), 0);
  for (const auto& [root, error] : {std::pair{temporary / "file", ENOTDIR},
                                    {temporary / "loop", ELOOP},
                                    {temporary / std::string(20000, '/') + "long", ENAMETOOLONG},
                                    {"removed", ENOENT}}) {
    ::setenv("KVRN_SIM_ROOT", root.c_str(), 1);
    const std::string name = root.substr(0, 80);
    errno = 0;
    EXPECT_EQ(::open("/proc/cpuinfo", O_RDONLY), -1) << name;
    EXPECT_EQ(errno, error) << name;
    EXPECT_EQ(::fopen("/proc/cpuinfo", "r"), nullptr) << name;
    EXPECT_EQ(::access("/proc/cpuinfo", F_OK), -1) << name;
    EXPECT_EQ(errno, error) << name;
    EXPECT_EQ(::access("/etc/passwd", R_OK), 0) << name;
  }
  Device device("generic");
  errno = 0;
  EXPECT_EQ(::open(("/tmp/system.cfg" + std::string(9000, 'x')).c_str(), O_RDONLY), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
  // No descriptor is left to look at the folder with: another reason, the same rule.
  ::setenv("KVRN_SIM_ROOT", (device.root() / ".").c_str(), 1);
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit none{0, limit.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_EQ(::access("/dev/mtd0", F_OK), -1);
  EXPECT_EQ(::access("/dev/mtd5", F_OK), 0);
  ::setrlimit(RLIMIT_NOFILE, &limit);
}
