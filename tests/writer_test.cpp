// SPDX-License-Identifier: MIT
#include <malloc.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <random>

#include "tests/device.hpp"
#include "tests/syslog.hpp"

namespace {

constexpr const char* psu_cache = "/tmp/.psu_info_cache";
constexpr const char* output_cache = "/tmp/.output_cache";
constexpr const char* caches[] = {psu_cache, output_cache};

using Source = kvrnpp::CacheSource;

template <typename Image>
Image image_of(const Device& device, const char* path) {
  Image image{};
  const std::string bytes = read_text(device.path(path));
  EXPECT_EQ(bytes.size(), sizeof image);
  std::memcpy(static_cast<void*>(&image), bytes.data(), std::min(bytes.size(), sizeof image));
  return image;
}

std::string line(int priority, const std::string& text) { return std::to_string(priority) + ' ' + text + '\n'; }

bool all_zero(const psu_info& record) { return bytes_of(record) == std::string(sizeof record, '\0'); }

// Of this process: of all files, or of the caches.
long mappings(bool of_caches) {
  std::istringstream maps(read_text("/proc/self/maps"));
  long count = 0;
  for (std::string entry; std::getline(maps, entry);)
    if (!of_caches || (entry.find("_cache") != std::string::npos && entry.find("/tmp/.") != std::string::npos)) ++count;
  return count;
}

output_status output_after_update(const Device& device, cache_source* source, int output) {
  source->update(source);
  return image_of<kvrn_output_image>(device, output_cache).records[output];
}

}  // namespace

// The library rests between two tries, and where a real battery needs it: nothing for ten thousand updates.
extern "C" __attribute__((visibility("default"))) int nanosleep(const timespec*, timespec*) { return 0; }

TEST(PsuWriter, CreatesTheImageInvalidThenFresh) {
  Device device("three-source");
  ::umask(0);
  const Source source(psu_info_cache_new());
  EXPECT_EQ(logged, line(LOG_DEBUG, "PSU cache: Cache file /tmp/.psu_info_cache is too short. Creating new"));
  struct stat status {};
  ASSERT_EQ(::stat(device.path(psu_cache).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  auto image = image_of<kvrn_psu_info_image>(device, psu_cache);
  EXPECT_EQ(image.stamp, -1);
  EXPECT_TRUE(all_zero(image.records[0]));
  EXPECT_EQ(image.records[2].voltage_mv, 51900);

  source->update(source.get());
  image = image_of<kvrn_psu_info_image>(device, psu_cache);
  EXPECT_NEAR(static_cast<double>(image.stamp), static_cast<double>(get_timestamp_mono()), 2);
  EXPECT_TRUE(all_zero(image.records[3]));  // the board has three
  psu_info all[KVRN_PSU_MAX]{};
  device.hwmon("mon-battery", "in0_input", "1");
  for (cache_source* cache : {static_cast<cache_source*>(nullptr), source.get()}) {
    EXPECT_EQ(psu_info_get_all(all, cache), 3);
    EXPECT_EQ(all[2].voltage_mv, 51900);
  }
  EXPECT_EQ(source->get(source.get(), nullptr), 0);
}

TEST(PsuWriter, InvalidatesAnExistingImageByStampAndFirstRecord) {
  Device device("four-source");
  kvrn_psu_info_image image{};
  for (auto& record : image.records) record.voltage_mv = 5;
  image.stamp = get_timestamp_mono();
  device.file(psu_cache, bytes_of(image));
  const Source source(psu_info_cache_new());
  image = image_of<kvrn_psu_info_image>(device, psu_cache);
  EXPECT_EQ(image.stamp, -1);
  EXPECT_EQ(image.records[0].voltage_mv, 0);
  EXPECT_EQ(image.records[1].voltage_mv, 5);
  EXPECT_EQ(logged, "");
  // A stamp that cannot be written leaves the record as well.
  source->update(source.get());
  const std::string fresh = read_text(device.path(psu_cache));
  const rlimit records_only{offsetof(kvrn_psu_info_image, stamp), RLIM_INFINITY};
  ::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &records_only), 0);
  const Source another(psu_info_cache_new());
  EXPECT_EQ(read_text(device.path(psu_cache)), fresh);
}

TEST(Writers, RetryWhileTheFileCannotBeMapped) {
  Device device("three-source");
  for (const char* path : caches) std::filesystem::create_directories(device.path(path));
  const int limit = 0;
  const Source psu(psu_info_cache_new());
  const Source outputs(output_cache_new(&limit, 5));
  EXPECT_EQ(logged, line(LOG_WARNING, "PSU cache: Unable to open file /tmp/.psu_info_cache (21)") +
                        line(LOG_WARNING, "Output cache: Unable to open output file /tmp/.output_cache (21)"));
  psu_info_view view{nullptr, 9, 9};
  EXPECT_EQ(psu->update(psu.get()), 0);
  EXPECT_EQ(psu->get(psu.get(), &view), 0);
  EXPECT_EQ(view.count, 0);
  // Nothing is written through a link.
  device.file("/etc/version", "another file");
  for (const char* path : caches) {
    std::filesystem::remove(device.path(path));
    std::filesystem::create_symlink(device.path("/etc/version"), device.path(path));
  }
  EXPECT_EQ(psu->update(psu.get()) + outputs->update(outputs.get()), 0);
  EXPECT_EQ(outputs->get(outputs.get(), &view), 0);
  EXPECT_EQ(read_text(device.path("/etc/version")), "another file");
  for (const char* path : caches) std::filesystem::remove(device.path(path));
  psu->update(psu.get());
  outputs->update(outputs.get());
  EXPECT_NE(psu->get(psu.get(), &view), 0);
  output_view output{};
  EXPECT_NE(outputs->get(outputs.get(), &output), 0);
  EXPECT_EQ(outputs->get(outputs.get(), nullptr), 0);
  EXPECT_EQ(output.count, 3);
  EXPECT_EQ(output.records[0].voltage_mv, 53900);
}

TEST(Writers, AFileThatIsCutRemovedOrReplacedIsWholeAtTheNextUpdate) {
  Device device("three-source");
  const int limit = 0;
  const Source psu(psu_info_cache_new());
  const Source outputs(output_cache_new(&limit, 0));
  psu->update(psu.get());
  outputs->update(outputs.get());
  const auto descriptors = open_descriptors();
  const auto check = [&](const char* what) {
    psu->update(psu.get());
    outputs->update(outputs.get());
    const auto image = image_of<kvrn_psu_info_image>(device, psu_cache);
    EXPECT_GE(image.stamp, 0) << what;
    EXPECT_EQ(image.records[2].voltage_mv, 51900) << what;
    EXPECT_EQ(image_of<kvrn_output_image>(device, output_cache).records[1].voltage_mv, 53850) << what;
    EXPECT_EQ(open_descriptors(), descriptors) << what;
    EXPECT_EQ(mappings(true), 2) << what;
  };
  device.file(psu_cache, std::string(553, 'x'));  // a longer file keeps its length until somebody removes it
  psu->update(psu.get());
  EXPECT_EQ(read_text(device.path(psu_cache)).size(), 553U);
  for (const char* path : caches) {
    device.remove(path);
    check("removed");
    for (const off_t size : {0, 1, 79}) {
      ASSERT_EQ(::truncate(device.path(path).c_str(), size), 0);
      check("cut");
    }
    std::filesystem::rename(device.path(path), device.path(path).string() + ".old");
    check("renamed");
    device.file(std::string(path) + ".new", "short");
    std::filesystem::rename(device.path(path).string() + ".new", device.path(path));
    check("replaced");
  }
}

TEST(OutputWriter, StateFollowsFlagsAndPower) {
  Device device("three-source");
  const int limit = 1000000;
  const Source source(output_cache_new(&limit, 0));
  EXPECT_EQ(image_of<kvrn_output_image>(device, output_cache).stamp, -1);
  const std::tuple<const char*, const char*, int, int> loads[] = {
      {"50000", "18", 900000, 0}, {"49999", "18", 899982, 4}, {"999", "100", 0, 4},
      {"1000", "100", 100000, 4}, {"50000", "50000", 0, 4},   {"50000", "1000", 50000000, 0}};
  for (const auto& [voltage, current, power, state] : loads) {
    load_output(device, 2, voltage, current);
    const output_status record = output_after_update(device, source.get(), 1);
    EXPECT_EQ(record.power_uw, power) << voltage << ' ' << current;
    EXPECT_EQ(record.state, state) << voltage << ' ' << current;
    EXPECT_EQ(record.enabled << 1 | record.max_power, 2);
  }
  const std::tuple<std::string, const char*, int, int> flags[] = {
      {"dc-enabled1", "1", 1, 5},       {"dc-enabled1", "0", 1, 5},      {"overload_check_1", "1", 1, 2},
      {"overload_check_1", "2", 1, 3},  {"overload_check_1", "7", 1, 0}, {"dc-problem1", "1", 0, 3},
      {"overload_charging", "1", 1, 1}, {"lv_active", "1", 1, 1},        {"lv_active", "2", 1, 0}};
  for (const auto& [flag, text, enabled, state] : flags) {
    device.file("/tmp/." + flag, text);
    const output_status record = output_after_update(device, source.get(), 1);
    EXPECT_EQ(record.enabled, enabled) << flag << text;
    EXPECT_EQ(record.state, state) << flag << text;
    device.remove("/tmp/." + flag);
  }
  for (const char* flag : {"overload_charging", "lv_active", "dc-problem1"})
    device.file(std::string("/tmp/.") + flag, "1");
  EXPECT_EQ(output_after_update(device, source.get(), 1).state, 1);  // low voltage decides first
  device.remove("/tmp/.dc-problem1");
  device.gpio(201, 0);
  EXPECT_EQ(output_after_update(device, source.get(), 1).enabled, 0);
}

TEST(OutputWriter, ShedsTheHighestOutputsUntilTheRestIsWithinTheLimit) {
  Device device("three-source");
  int limit = 10000;
  const Source source(output_cache_new(&limit, 0));
  load_output(device, 1, "10000", "600");
  load_output(device, 2, "10000", "500");
  load_output(device, 3, "10000", "400");
  // An output with a state of its own keeps it, and its power counts as removed.
  const std::tuple<int, const char*, std::string, const char*> cases[] = {{10000, "1", "none", "011"},
                                                                          {11000, "1", "none", "001"},
                                                                          {14999, "1", "none", "001"},
                                                                          {0, "1", "none", "111"},
                                                                          {0, "0", "none", "000"},
                                                                          {10000, "9", "none", "011"},
                                                                          {11000, "1", "overload_check_2", "002"},
                                                                          {10000, "0", "dc-problem2", "013"},
                                                                          {6000, "1", "dc-enabled0", "511"}};
  for (const auto& [limit_mw, overload, flag, expected] : cases) {
    limit = limit_mw;
    device.file("/tmp/.overload_check", overload);
    device.file("/tmp/." + flag, "1");
    source->update(source.get());
    std::string states;
    for (const auto& record : image_of<kvrn_output_image>(device, output_cache).records)
      states += std::to_string(record.state);
    EXPECT_EQ(states, expected) << limit << ' ' << overload << ' ' << flag;
    device.remove("/tmp/." + flag);
  }
  const Source unlimited(output_cache_new(nullptr, 0));
  device.file("/tmp/.overload_check", "1");
  EXPECT_EQ(output_after_update(device, unlimited.get(), 2).state, 0);
}

namespace {

// What a monitor reads: a torn or cleared word would be another value.
constexpr const char* readings[] = {"286331153", "572662306"};  // 0x11111111 and 0x22222222
bool written(int32_t value) { return value == 0 || value == 0x11111111 || value == 0x22222222; }

// Looks at the images through their mappings until somebody writes to `stop`. Ends with 0 when it saw nothing but what
// was written.
[[noreturn]] void look_until(int stop) {
  (void)!::nice(19);  // it never rests; the writer must not wait for it
  bool good = true;
  long looks = 0;
  for (pollfd wait{stop, POLLIN, 0}; ::poll(&wait, 1, 0) == 0;) {
    psu_info_view psus{};
    output_view outputs{};
    (void)get_psu_info_cache_data(&psus);
    (void)get_output_cache_data(&outputs);
    for (int look = 0; look < 50000; ++look) {
      std::atomic_signal_fence(std::memory_order_seq_cst);  // another process changes what the mappings hold
      for (int psu = 0; psu < psus.count; ++psu, ++looks) good = good && psus.records[psu].id == unsigned(psu);
      if (psus.count > 2) good = good && written(psus.records[2].voltage_mv) && written(psus.records[2].current_ma);
      for (int output = 0; output < outputs.count; ++output) good = good && written(outputs.records[output].voltage_mv);
    }
    psu_info_cache_data_free(&psus);
    output_cache_data_free(&outputs);
  }
  ::_exit(good && looks > 0 ? 0 : 1);
}

constexpr unsigned lines[] = {100, 111, 115, 201, 205, 211};

// Makes one thing of the device fail, work or change.
void disturb(Device& device, std::mt19937& random) {
  static constexpr int registers[][2] = {{0x58, 0x8B}, {0x58, 0x8D}, {0x0B, 0x09}, {0x0B, 0x16}};
  const bool coin = (random() & 1) != 0;
  const unsigned line = lines[random() % std::size(lines)];
  const auto& [address, reg] = registers[random() % std::size(registers)];
  switch (random() % 7) {
    case 0:
      return device.gpio_busy(line, coin);
    case 1:
      return device.i2c_refuse(2, address, reg, coin);
    case 2:
      return device.gpio(line, coin ? 1 : 0);
    case 3:
      return device.hwmon("mon-battery", coin ? "in0_input" : "curr1_input", readings[random() % 2]);
    case 4:
      return device.file("/tmp/.overload_check", coin ? "1" : "");
    case 5:
      return device.hwmon("mon-dc-out-" + std::to_string(1 + random() % 3), "in0_input", readings[coin ? 1 : 0]);
    default:
      return device.remove("/var/run/hwmon/mon-battery/in0_input");
  }
}

class ManyUpdates : public testing::TestWithParam<const char*> {};

}  // namespace

TEST_P(ManyUpdates, OfFailingHardwareKeepNothingAndShowOnlyWhatWasWritten) {
  const char* wanted = std::getenv("KVRN_WRITER_UPDATES");
  const int updates = wanted == nullptr ? KVRN_WRITER_UPDATES : std::atoi(wanted);
  // The images are written through to the disk, which is another test's affair.
  if (::access("/dev/shm", W_OK) == 0) ::setenv("TMPDIR", "/dev/shm", 1);
  Device device(GetParam());
  for (const char* attribute : {"in0_input", "curr1_input"}) device.hwmon("mon-battery", attribute, readings[0]);
  for (int output = 1; output <= 3; ++output) load_output(device, output, readings[0], "1");
  std::mt19937 random(7);
  const int limit = 1;
  const Source psu(psu_info_cache_new());
  const Source outputs(output_cache_new(&limit, 0));
  const auto update = [&] {
    disturb(device, random);
    psu->update(psu.get());
    outputs->update(outputs.get());
  };
  update();
  int stop[2];
  ASSERT_EQ(::pipe(stop), 0);
  const pid_t reader = ::fork();
  if (reader == 0) look_until(stop[0]);
  for (unsigned line : lines) device.gpio_busy(line, false);
  const auto descriptors = open_descriptors();
  const auto maps = mappings(false);
  const auto heap = ::mallinfo2().uordblks;
  for (int i = 1; i < updates; ++i) update();
  // Where lines are a kernel's, this process itself keeps them busy.
  for (unsigned line : lines) device.gpio_busy(line, false);
  EXPECT_EQ(open_descriptors(), descriptors);
  EXPECT_NEAR(mappings(false), maps, updates / 20.0);  // an allocator may map more; of the caches the count is exact
  EXPECT_EQ(mappings(true), 2);
  // Freed blocks that the allocator keeps at hand count as used: a few of each size. A block lost at one update of
  // twenty would be more.
  EXPECT_NEAR(static_cast<double>(::mallinfo2().uordblks), static_cast<double>(heap), 4096 + updates * 16.0 / 20);
  ASSERT_EQ(::write(stop[1], "x", 1), 1);
  int status = -1;
  ::waitpid(reader, &status, 0);
  EXPECT_EQ(status, 0) << "something else was seen";
}

INSTANTIATE_TEST_SUITE_P(Boards, ManyUpdates, testing::Values("three-source", "four-source"));
