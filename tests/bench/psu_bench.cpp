// SPDX-License-Identifier: MIT
// psu_info_get_all from a fresh cache, against the same system calls and the copy written by hand.
#include <fcntl.h>
#include <kvrn/kvrn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "sim/device.hpp"
#include "tests/bench/ratio.hpp"

namespace {

constexpr const char* cache = "/tmp/.psu_info_cache";
psu_info records[KVRN_PSU_MAX];

void library(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(psu_info_get_all(records, nullptr));
}

void by_hand(benchmark::State& state) {
  for (auto _ : state) {
    const int fd = ::open(cache, O_RDWR | O_SYNC | O_CLOEXEC);
    struct stat status;
    ::fstat(fd, &status);
    void* image = ::mmap(nullptr, 552, PROT_READ, MAP_SHARED, fd, 0);
    int64_t stamp;
    benchmark::DoNotOptimize(::pread(fd, &stamp, sizeof stamp, 544));
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    benchmark::DoNotOptimize(::pread(fd, records, sizeof records, 0));
    ::munmap(image, 552);
    ::close(fd);
  }
}

BENCHMARK(library)->Repetitions(15);
BENCHMARK(by_hand)->Repetitions(15);

}  // namespace

int main(int argc, char** argv) {
  kvrn::sim::Device device("four-source");
  kvrn_psu_info_image image{};
  image.stamp = get_timestamp_mono() + 3600;
  device.file(cache, std::string(reinterpret_cast<const char*>(&image), sizeof image));
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return reporter.at_most("library", "by_hand", 1.05) ? 0 : 1;
}
