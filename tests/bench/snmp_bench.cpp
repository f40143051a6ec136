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
  int reads;  // in one update
};
const File files[] = {{"/etc/board.info", 3},
                      {"/etc/version", 1},
                      {"/tmp/system.cfg", 2},
                      {"/tmp/.battery_info", 1},
                      {"/tmp/.battery_info_1", 1},
                      {"/tmp/.batt_ch_status", 1},
                      {"/tmp/.batt_li_ch_status", 1},
                      {"/etc/persistent/battery_data", 1},
                      {"/etc/persistent/battery_data_1", 1}};

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

int odb_add(void* host, const kvrn_snmp_oid_word*, const kvrn_snmp_value*) {
  ++*static_cast<int*>(host);
  return 0;
}
void odb_destroy(void*) {}
void abz_set_error(const char*, ...) {}
void abz_clear_error(void*) {}

int main(int argc, char** argv) {
  kvrn::sim::Device device("four-source");
  for (const char* charger : {"/tmp/.batt_ch_status", "/tmp/.batt_li_ch_status"}) device.file(charger, "1\n");
  kvrn_psu_info_image psus{};
  for (int psu = 0; psu < KVRN_PSU_MAX; ++psu) (void)psu_info_get_direct(&psus.records[psu], psu);
  write_fresh(device, "/tmp/.psu_info_cache", psus);
  kvrn_output_image outputs{};
  write_fresh(device, "/tmp/.output_cache", outputs);
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return reporter.at_most("update", "floor_of_it", 2) ? 0 : 1;
}
