// SPDX-License-Identifier: MIT
// The simulated device behaves as the kernel does, seen through the real libgpiod and through plain ioctls.
#include "sim/device.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <glob.h>
#include <gpiod.h>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <mtd/mtd-user.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <set>
#include <stdexcept>

#include "tests/temp_dir.hpp"

using kvrn::sim::Device;

namespace {

constexpr const char* expander = "/dev/gpiochip/by-label/1-0075";

struct Release {
  void operator()(gpiod_chip* chip) const { ::gpiod_chip_close(chip); }
  void operator()(gpiod_line_info* info) const { ::gpiod_line_info_free(info); }
  void operator()(gpiod_chip_info* info) const { ::gpiod_chip_info_free(info); }
  void operator()(gpiod_line_settings* settings) const { ::gpiod_line_settings_free(settings); }
  void operator()(gpiod_line_config* config) const { ::gpiod_line_config_free(config); }
  void operator()(gpiod_line_request* request) const { ::gpiod_line_request_release(request); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;
using Chip = Owned<gpiod_chip>;
using Request = Owned<gpiod_line_request>;

constexpr auto as_is = GPIOD_LINE_DIRECTION_AS_IS;
constexpr auto input = GPIOD_LINE_DIRECTION_INPUT;
constexpr auto output = GPIOD_LINE_DIRECTION_OUTPUT;
constexpr auto active = GPIOD_LINE_VALUE_ACTIVE;
constexpr auto inactive = GPIOD_LINE_VALUE_INACTIVE;

Request request(const Chip& chip, unsigned offset, gpiod_line_direction direction, gpiod_line_value value = inactive,
                bool active_low = false) {
  const Owned<gpiod_line_settings> settings(::gpiod_line_settings_new());
  ::gpiod_line_settings_set_direction(settings.get(), direction);
  ::gpiod_line_settings_set_active_low(settings.get(), active_low);
  if (value == active) ::gpiod_line_settings_set_output_value(settings.get(), value);
  const Owned<gpiod_line_config> config(::gpiod_line_config_new());
  ::gpiod_line_config_add_line_settings(config.get(), &offset, 1, settings.get());
  return Request(::gpiod_chip_request_lines(chip.get(), nullptr, config.get()));
}

int transfer(int fd, char direction, int reg, std::uint32_t size, i2c_smbus_data& data) {
  i2c_smbus_ioctl_data request{static_cast<std::uint8_t>(direction), static_cast<std::uint8_t>(reg), size, &data};
  return ::ioctl(fd, I2C_SMBUS, &request);
}

int read_word(int fd, int reg) {
  i2c_smbus_data data{};
  return transfer(fd, I2C_SMBUS_READ, reg, I2C_SMBUS_WORD_DATA, data) < 0 ? -errno : data.word;
}

}  // namespace

TEST(SimGpio, ChipAndLinesIntroduceThemselves) {
  Device device("four-source");
  EXPECT_TRUE(::gpiod_is_gpiochip_device(expander));
  EXPECT_FALSE(::gpiod_is_gpiochip_device("/dev/i2c-2"));
  const Chip chip(::gpiod_chip_open(expander));
  const Owned<gpiod_chip_info> info(::gpiod_chip_get_info(chip.get()));
  ASSERT_NE(info, nullptr);
  EXPECT_STREQ(::gpiod_chip_info_get_label(info.get()), "1-0075");
  const Request held = request(chip, 11, as_is);
  const Owned<gpiod_line_info> line(::gpiod_chip_get_line_info(chip.get(), 11));
  ASSERT_NE(line, nullptr);
  EXPECT_EQ(::gpiod_line_info_get_direction(line.get()), output);
  EXPECT_TRUE(::gpiod_line_info_is_used(line.get()));
  EXPECT_EQ(::gpiod_chip_get_line_info(chip.get(), 64), nullptr);
  EXPECT_EQ(::gpiod_chip_open("/dev/gpiochip/by-label/3-0001"), nullptr);
}

TEST(SimGpio, DirectionsAndLevelsFollowTheRequest) {
  Device device("four-source");
  const Chip chip(::gpiod_chip_open(expander));
  device.gpio(111, 1);
  Request line = request(chip, 11, as_is);
  EXPECT_EQ(::gpiod_line_request_get_value(line.get(), 11), active);
  EXPECT_EQ(::gpiod_line_request_set_value(line.get(), 11, inactive), 0);  // it is an output already
  EXPECT_EQ(device.gpio(111), 0);
  line.reset();
  line = request(chip, 11, input);
  device.gpio(111, 1);
  EXPECT_EQ(::gpiod_line_request_get_value(line.get(), 11), active);
  EXPECT_EQ(::gpiod_line_request_set_value(line.get(), 11, inactive), -1);
  EXPECT_EQ(errno, EPERM);
  line.reset();
  EXPECT_EQ(device.gpio_direction(111), "in");
  line = request(chip, 11, output);  // without a value: inactive
  EXPECT_EQ(device.gpio(111), 0);
  EXPECT_EQ(device.gpio_direction(111), "out");
  line.reset();
  line = request(chip, 11, output, active);
  EXPECT_EQ(device.gpio(111), 1);
  // A state that cannot be written was not taken.
  const rlimit nothing{0, RLIM_INFINITY};
  ::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &nothing), 0);
  EXPECT_EQ(::gpiod_line_request_set_value(line.get(), 11, inactive), -1);
  line.reset();
  EXPECT_EQ(request(chip, 11, output), nullptr);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(request(chip, 11, input, inactive, true), nullptr);  // levels are physical: refused, not ignored
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(request(chip, 64, input), nullptr);
  EXPECT_EQ(errno, EINVAL);
}

TEST(SimGpio, LineIsHeldUntilItsLastDescriptorIsClosed) {
  Device device("four-source");
  const Chip chip(::gpiod_chip_open(expander));
  Request line = request(chip, 11, as_is);
  ASSERT_NE(line, nullptr);
  EXPECT_EQ(request(chip, 11, as_is), nullptr);
  EXPECT_EQ(errno, EBUSY);
  const int copy = ::dup(::gpiod_line_request_get_fd(line.get()));
  line.reset();
  EXPECT_EQ(request(chip, 11, as_is), nullptr);
  ::close(copy);
  EXPECT_NE(request(chip, 11, as_is), nullptr);
  // A holder that dies frees it.
  const pid_t child = ::fork();
  if (child == 0) ::_exit(request(chip, 11, as_is).release() != nullptr ? 0 : 1);
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_NE(request(chip, 11, as_is), nullptr);
  device.gpio_busy(111, true);
  EXPECT_EQ(request(chip, 11, as_is), nullptr);
  EXPECT_EQ(errno, EBUSY);
  device.remove("/dev/gpiochip/by-label/1-0075");  // unplugged while it is open
  EXPECT_EQ(request(chip, 12, as_is), nullptr);
  EXPECT_EQ(errno, ENODEV);
}

TEST(SimI2c, AddressBelongsToTheOpenFile) {
  Device device("four-source");
  device.i2c(2, 0x20, 0x01, 0x1234);
  const int fd = ::open("/dev/i2c-2", O_RDWR);
  ASSERT_GE(fd, 0);
  const int other = ::open("/dev/i2c-2", O_RDONLY);
  EXPECT_EQ(::ioctl(fd, I2C_SLAVE, 0x20L), 0);
  EXPECT_EQ(::ioctl(other, I2C_SLAVE, 0x0bL), 0);
  EXPECT_EQ(read_word(fd, 0x01), 0x1234);
  EXPECT_EQ(read_word(other, 0x09), 0x6530);
  const int copy = ::dup(fd);
  EXPECT_EQ(::ioctl(copy, I2C_SLAVE, 0x0bL), 0);
  EXPECT_EQ(read_word(fd, 0x09), 0x6530);
  ::close(copy);
  EXPECT_EQ(::ioctl(fd, I2C_SLAVE, 0x80L), -1);
  EXPECT_EQ(errno, EINVAL);
  // The number of a closed bus means nothing for the file that gets it next.
  ::close(fd);
  const int plain = ::open("/dev/null", O_RDWR);
  EXPECT_EQ(plain, fd);
  EXPECT_EQ(::ioctl(plain, I2C_SLAVE, 0x0bL), -1);
  ::close(plain);
  ::close(other);
}

TEST(SimI2c, RegistersAnswerRefuseAndKeepWhatIsWritten) {
  Device device("four-source");
  const int fd = ::open("/dev/i2c-2", O_RDWR);
  EXPECT_EQ(::ioctl(fd, I2C_SLAVE, 0x33L), 0);
  EXPECT_EQ(read_word(fd, 0x09), -ENXIO);
  EXPECT_EQ(::ioctl(fd, I2C_SLAVE, 0x0bL), 0);
  i2c_smbus_data data{};
  data.word = 0xBEEF;
  EXPECT_EQ(transfer(fd, I2C_SMBUS_WRITE, 0x03, I2C_SMBUS_WORD_DATA, data), 0);
  EXPECT_EQ(device.i2c(2, 0x0b, 0x03), 0xBEEFU);
  EXPECT_EQ(transfer(fd, I2C_SMBUS_READ, 0x03, I2C_SMBUS_BYTE_DATA, data), 0);
  EXPECT_EQ(data.byte, 0xEF);
  device.i2c_refuse(2, 0x0b, 0x03, true);
  EXPECT_EQ(read_word(fd, 0x03), -EIO);
  device.i2c_refuse(2, 0x0b, 0x03, false);
  EXPECT_EQ(read_word(fd, 0x03), 0xBEEF);
  device.i2c_busy(2, true);
  EXPECT_EQ(read_word(fd, 0x03), -EBUSY);
  device.i2c_busy(2, false);
  // Manufacturer blocks: a word written to register 0 chooses one, the register itself reads on.
  data.word = 0x0055;
  EXPECT_EQ(transfer(fd, I2C_SMBUS_WRITE, 0x00, I2C_SMBUS_WORD_DATA, data), 0);
  EXPECT_EQ(read_word(fd, 0x00), 0x0800);
  EXPECT_EQ(transfer(fd, I2C_SMBUS_READ, 0x23, I2C_SMBUS_BLOCK_DATA, data), 0);
  EXPECT_EQ(data.block[0], 3);
  EXPECT_EQ(data.block[1], 0x07);
  data.word = 0x0099;
  EXPECT_EQ(transfer(fd, I2C_SMBUS_WRITE, 0x00, I2C_SMBUS_WORD_DATA, data), 0);
  EXPECT_EQ(transfer(fd, I2C_SMBUS_READ, 0x23, I2C_SMBUS_BLOCK_DATA, data), -1);
  device.remove("/i2c/2-0b");
  EXPECT_EQ(read_word(fd, 0x09), -ENXIO);
  ::close(fd);
}

TEST(SimFlash, PartitionMayClaimMoreThanItHasAndMemoryHoldsTheRevision) {
  Device device("four-source");
  mtd_info_user info{};
  const int fd = ::open("/dev/mtd5", O_RDONLY);
  EXPECT_EQ(::ioctl(fd, MEMGETINFO, &info), 0);
  EXPECT_EQ(info.size, 0x10000U);
  for (const auto& [text, size] : {std::pair{"131072\n", 131072U}, std::pair{"", 0x10000U}}) {
    device.file("/dev/mtd5", text);  // without a number: what /dev/mtdblock5 has
    EXPECT_EQ(::ioctl(fd, MEMGETINFO, &info), 0);
    EXPECT_EQ(info.size, size);
  }
  ::close(fd);
  const int memory = ::open("/dev/mem", O_RDONLY);
  const void* page = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, memory, 0x18060000);
  ASSERT_NE(page, MAP_FAILED);
  EXPECT_EQ(static_cast<const std::uint32_t*>(page)[0x90 / 4], 0x00000160U);
  ::close(memory);
}

TEST(SimPaths, OnlyTheDevicesOwnAreRedirected) {
  Device device("four-source");
  write_text("/tmp/system.cfg", "a=1\n");
  EXPECT_EQ(read_text(device.path("/tmp/system.cfg")), "a=1\n");
  char name[] = "/tmp/system.cfg.XXXXXX";
  const int temporary = ::mkstemp(name);
  EXPECT_TRUE(std::filesystem::exists(device.path(name))) << name;
  ::close(temporary);
  EXPECT_EQ(::unlink("/tmp/system.cfg"), 0);
  EXPECT_EQ(::access("/tmp/system.cfg", F_OK), -1);
  char resolved[PATH_MAX];
  EXPECT_STREQ(::realpath(expander, resolved), expander);
  EXPECT_FALSE(std::filesystem::exists(device.path("/etc/passwd")));
  EXPECT_EQ(::access("/etc/passwd", R_OK), 0);
  ::unsetenv("KVRN_SIM_ROOT");
  EXPECT_EQ(::access(expander, F_OK), -1);
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
    errno = 0;
    EXPECT_EQ(::access("/etc/passwd", R_OK), 0) << name;
    EXPECT_EQ(errno, 0) << name;
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

TEST(SimState, PathsStayInTheFolder) {
  Device device("generic");
  const kvrn::sim::State state(device.root());
  for (const char* path : {"", "/", ".", "..", "/..", "/tmp/..", "/../x", "/tmp/../../x", "../../x"}) {
    EXPECT_THROW(state.file(path, "x"), std::invalid_argument) << path;
    EXPECT_THROW((void)state.remove(path), std::invalid_argument) << path;
  }
  EXPECT_EQ(state.path("/tmp/../etc/./..x"), device.root() / "etc/..x");
  EXPECT_THROW(kvrn::sim::create_root(device.root(), "generic"), std::runtime_error);  // the folder is not empty
  EXPECT_THROW(Device("no such board"), std::runtime_error);
}

TEST(SimTrace, TellsWhatProgramsDidInHumanTerms) {
  Device device("four-source");
  device.trace(true);
  const Chip chip(::gpiod_chip_open(expander));
  Request line = request(chip, 11, input);
  ::gpiod_line_request_get_value(line.get(), 11);
  EXPECT_EQ(request(chip, 11, as_is), nullptr);
  line.reset();
  line = request(chip, 11, output);
  ::gpiod_line_request_set_value(line.get(), 11, active);
  const int bus = ::open("/dev/i2c-2", O_RDONLY);
  EXPECT_EQ(::ioctl(bus, I2C_SLAVE, 0x0bL), 0);
  read_word(bus, 0x16);
  device.i2c_refuse(2, 0x0b, 0x16, true);
  read_word(bus, 0x16);
  ::close(bus);
  EXPECT_EQ(device.trace(),
            "open /dev/gpiochip/by-label/1-0075\n"
            "gpio 111 request in\n"
            "gpio 111 get 1\n"
            "gpio 111 request as-is EBUSY\n"
            "gpio 111 request out\n"
            "gpio 111 set 1\n"
            "open /dev/i2c-2\n"
            "i2c 2-0b read word 0x16 -> 0x0080\n"
            "i2c 2-0b read word 0x16 EIO\n");
}
