// SPDX-License-Identifier: MIT
// One update of the SNMP table, against the sensor summary and bare reads of the files that the table needs beside it.
#include <fcntl.h>
#include <kvrn/kvrn.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "sim/device.hpp"
#include "tests/bench/ratio.hpp"

namespace {

struct File {
  const char* path;
  const char* text;
  int reads;  // in one update
};
const std::string record = std::string("\0\0\0\2", 4) + std::string(128, '\0');
const File files[] = {
    {"/etc/board.info", "board.name=Quorvex 4\nboard.shortname=QX4\nboard.subtype=eu\nboard.hwaddr=0218D6A0B1C2\n", 3},
    {"/etc/version", "2.0.9.5406.200410.1234\n", 1},
    {"/tmp/system.cfg", "psu.monitor.battery.install_date=20210315\n", 2},
    {"/tmp/.battery_info", "87 5400 0 0\n", 1},
    {"/tmp/.battery_info_1", "64 7200 0 0\n", 1},
    {"/tmp/.batt_ch_status", "1\n", 1},
    {"/tmp/.batt_li_ch_status", "1\n", 1},
    {"/etc/persistent/battery_data", nullptr, 1},
    {"/etc/persistent/battery_data_1", nullptr, 1},
};

int added;

void update(benchmark::State& state) {
  for (auto _ : state) update_kvrn_table(&added, 1);
}

void floor_of_it(benchmark::State& state) {
  for (auto _ : state) {
    sensors_info_free(sensors_info_get(1));
    psu_info psus[KVRN_PSU_MAX];
    benchmark::DoNotOptimize(psu_info_get_all(psus, nullptr));  // the temperatures are read anew
    for (const File& file : files)
      for (int i = 0; i < file.reads; ++i) {
        char text[512];
        const int fd = ::open(file.path, O_RDONLY | O_CLOEXEC);
        benchmark::DoNotOptimize(::read(fd, text, sizeof text));
        ::close(fd);
      }
  }
}

BENCHMARK(update)->Repetitions(15);
BENCHMARK(floor_of_it)->Repetitions(15);

template <typename Image>
void write_fresh(kvrn::sim::Device& device, const char* path, Image& image) {
  image.stamp = get_timestamp_mono() + 3600;
  device.file(path, std::string(reinterpret_cast<const char*>(&image), sizeof image));
}

}  // namespace

int odb_add(void* host, const snmp_oid_word*, const snmp_value*) {
  ++*static_cast<int*>(host);
  return 0;
}
void odb_destroy(void*) {}
void abz_set_error(const char*, ...) {}
void abz_clear_error(void*) {}

int main(int argc, char** argv) {
  kvrn::sim::Device device("four-source");
  for (const File& file : files) device.file(file.path, file.text != nullptr ? file.text : record);
  psu_info_image psus{};
  for (int psu = 0; psu < KVRN_PSU_MAX; ++psu) (void)psu_info_get_direct(&psus.records[psu], psu);
  write_fresh(device, "/tmp/.psu_info_cache", psus);
  output_image outputs{};
  write_fresh(device, "/tmp/.output_cache", outputs);
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return reporter.at_most("update", "floor_of_it", 2) ? 0 : 1;
}
