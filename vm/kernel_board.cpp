// SPDX-License-Identifier: MIT
// What tells the board, and the files that other programs leave: flash partitions, the SoC's revision, /proc/cpuinfo,
// /tmp, /etc and the monitors' attributes.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "sim/hooks/root.hpp"
#include "vm/kernel_files.hpp"
#include "vm/kernel_parts.hpp"

namespace kvrn::vm {
namespace {

namespace fs = std::filesystem;

// Memory that the kernel was told to leave alone.
constexpr const char* flash_address = "0x0f000000";
constexpr std::size_t flash_size = 0x10000;
constexpr off_t reset_block = 0x18060000;
constexpr std::size_t revision_register = 0x90;

struct Partition {
  unsigned number = 0;
  std::string name;
};

std::vector<Partition> partitions_of(const sim::State& state) {
  std::vector<Partition> partitions;
  std::istringstream lines(state.file("/proc/mtd").value_or(""));
  for (std::string line; std::getline(lines, line);) {
    char name[64] = "";
    unsigned number = 0;
    if (std::sscanf(line.c_str(), "mtd%u: %*s %*s \"%63[^\"]", &number, name) == 2)
      partitions.push_back({number, name});
  }
  return partitions;
}

// The kernel counts partitions without gaps: what lies between the board's stands for others.
void lay_flash(const sim::State& state) {
  unload_module("phram");
  load_module("phram", "");
  unsigned next = 0;
  const auto add = [&next](const std::string& name) {
    put("/sys/module/phram/parameters/phram", name + ',' + flash_address + ",0x10000");
    ++next;
  };
  for (const Partition& partition : partitions_of(state)) {
    if (partition.number < next) throw CannotExpress{"partitions out of order"};
    const std::string device = "/dev/mtd" + std::to_string(partition.number);
    const std::string block_device = "/dev/mtdblock" + std::to_string(partition.number);
    const auto content = state.file(block_device);
    const auto claimed = state.file(device);
    if (content && (content->empty() || content->size() % flash_size != 0)) throw CannotExpress{"a cut partition"};
    while (next < partition.number) add("other-" + std::to_string(next));
    add(partition.name);
    if (content && claimed) put(device, content->substr(0, flash_size));
    // Without its file the partition has no device to open.
    if (!claimed) ::unlink(device.c_str());
    if (!content) ::unlink(block_device.c_str());
  }
}

void lay_memory(const sim::State& state) {
  const auto memory = state.path("/dev/mem");
  ::unlink("/dev/mem");
  ::mknod("/dev/mem", S_IFCHR | 0640, makedev(1, 1));
  std::uint32_t revision = 0;
  if (const std::string told = get(state.root() / "revision"); !told.empty()) {
    revision = static_cast<std::uint32_t>(std::stoul(told, nullptr, 0));
  } else if (const int fd = ::open(memory.c_str(), O_RDONLY | O_CLOEXEC); fd >= 0) {
    const bool there = ::pread(fd, &revision, sizeof revision, reset_block + static_cast<off_t>(revision_register)) > 0;
    ::close(fd);
    if (!there) throw CannotExpress{"memory that ends before the register"};
  } else {
    ::unlink("/dev/mem");
    return;
  }
  const int fd = ::open("/dev/mem", O_RDWR | O_SYNC | O_CLOEXEC);
  void* block = ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, fd, reset_block);
  ::close(fd);
  if (block == MAP_FAILED) throw std::runtime_error("the reset block");
  *reinterpret_cast<volatile std::uint32_t*>(static_cast<char*>(block) + revision_register) = revision;
  ::munmap(block, 4096);
}

void lay_cpuinfo(const sim::State& state) {
  (void)::umount2("/proc/cpuinfo", MNT_DETACH);
  put_file("/run/cpuinfo", state.file("/proc/cpuinfo").value_or(""));
  (void)::mount("/run/cpuinfo", "/proc/cpuinfo", nullptr, MS_BIND, nullptr);
}

void remove_device_files(const char* folder) {
  std::error_code none;
  std::vector<fs::path> gone;
  for (const auto& entry : fs::directory_iterator(folder, none))
    if (sim::is_device_path(entry.path().c_str())) gone.push_back(entry.path());
  for (const fs::path& path : gone) fs::remove_all(path, none);
}

void copy_below(const sim::State& state, const char* folder) {
  const fs::path from = state.path(folder);
  std::error_code none;
  fs::create_directories(folder, none);
  for (const auto& entry : fs::directory_iterator(from, none))
    fs::copy(entry.path(), fs::path(folder) / entry.path().filename(),
             fs::copy_options::recursive | fs::copy_options::overwrite_existing | fs::copy_options::copy_symlinks);
}

// "/tmp/.psu_info_cache 3": the image was refreshed so many seconds ago. Its last 8 bytes are the monotonic time.
void stamp_images(const sim::State& state) {
  std::istringstream lines(get(state.root() / "ages"));
  std::string path;
  for (std::int64_t age = 0; lines >> path >> age;) {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    std::string image = get(path);
    auto stamp = static_cast<std::uint64_t>(now.tv_sec - age);
    for (std::size_t i = 1; i <= 8; ++i, stamp >>= 8) image[image.size() - i] = static_cast<char>(stamp);
    put_file(path, image);
  }
}

}  // namespace

void lay_out(const sim::State& state) {
  lay_lines(state);
  lay_buses(state);
  lay_board(state);
  lay_files(state);
}

void lay_board(const sim::State& state) {
  lay_flash(state);
  lay_memory(state);
  lay_cpuinfo(state);
}

void lay_files(const sim::State& state) {
  remove_device_files("/tmp");
  remove_device_files("/etc");
  remove_device_files("/etc/persistent");
  std::error_code none;
  fs::remove_all("/var/run/hwmon", none);
  fs::remove_all("/sys/class/power_supply/sbs-2-000b", none);
  for (const char* folder : {"/tmp", "/etc", "/var/run/hwmon", "/sys/class/power_supply"}) copy_below(state, folder);
  stamp_images(state);
}

}  // namespace kvrn::vm
