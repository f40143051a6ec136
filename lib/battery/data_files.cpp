// SPDX-License-Identifier: MIT
// The files that the battery monitoring process keeps for each battery. Fields without a name here are used only by
// that process.
#include <kvrn/battery.h>
#include <stdio.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <span>
#include <string_view>

#include "battery/data_files.hpp"
#include "board/platform.hpp"
#include "util/handle.hpp"
#include "util/number.hpp"
#include "util/observe.hpp"
#include "util/pause.hpp"
#include "util/read_file.hpp"
#include "util/text.hpp"

namespace {

using kvrn::Fd;

constexpr uint32_t informational_bits = 0x1B4;
constexpr uint32_t charger_bits = 0x30;  // have no meaning while the charger is idle
constexpr int no_charge = -2;

// "/etc/persistent/battery_data". The fields that a short file does not have keep these values.
struct RecordFile {
  kvrn_be_i32 version = 0;
  kvrn_be_i32 word_0 = -1;
  kvrn_be_u32 flags = 0;
  kvrn_be_i32 word_8 = -1;
  uint8_t bytes_12[100]{};
  kvrn_be_i32 charge = 0;   // mAh
  kvrn_be_i32 current = 0;  // mA
  uint8_t bytes_120[8]{};
};
static_assert(sizeof(RecordFile) == 132 && offsetof(RecordFile, charge) == 116);

// The fields of "/etc/persistent/battery_data2" that are used here.
struct ParameterFile {
  kvrn_be_i32 version = 0;
  kvrn_be_i32 resistance = 0;
};
static_assert(sizeof(ParameterFile) == 8);

using FileName = kvrn::Text<64>;

// The name from get_filename_bat_psu_id(), but without its static buffer: threads may ask for different batteries.
FileName file_of(const char* base, int psu) {
  const int battery = kvrn::wrap_i32(int64_t{psu} - 2);
  return battery < 1 ? FileName("%s", base) : FileName("%s_%d", base, battery);
}

// A file with another version stays open. Only one such descriptor is kept, because a process that polls the file must
// not run out of descriptors.
void leave_open(Fd fd) {
  static std::atomic<int> left_open = -1;
  const Fd earlier(left_open.exchange(fd.release()));
}

enum class Content { missing, wrong_version, version_alone, record };

// Reads a file, which begins with its version, over the preset values. A short file replaces only some of them. The
// file is closed unless its version is wrong.
Content read_versioned(const char* path, int32_t version, kvrn_fact fact, kvrn_be_i32* out, std::size_t size) {
  const uint32_t what = kvrn::reading(KVRN_SOURCE_FILE, fact);
  // Without O_NONBLOCK a FIFO in place of the file would block.
  Fd fd = Fd::open(path, O_RDONLY | O_NONBLOCK);
  ssize_t got = -1;
  if (fd) do {
      got = ::read(fd.get(), out, size);
    } while (got < 0 && errno == EINTR);
  constexpr auto version_size = static_cast<ssize_t>(sizeof *out);
  const bool right = got >= version_size && *out == version;
  if (got < 0)
    kvrn::tell_failed(path, what);
  else
    kvrn::tell(path, what, right ? KVRN_OUTCOME_ANSWERED : KVRN_OUTCOME_REFUSED, static_cast<int32_t>(got));
  if (!fd) return Content::missing;
  if (!right) {
    leave_open(std::move(fd));
    return Content::wrong_version;
  }
  return got == version_size ? Content::version_alone : Content::record;
}

bool read_record(int psu, RecordFile& record) {
  return read_versioned(file_of("/etc/persistent/battery_data", psu).c_str(), 2, KVRN_FACT_BATTERY_DATA,
                        &record.version, sizeof record) == Content::record;
}

bool charger_active(int psu) {
  return kvrn::read_number(kvrn::platform().charger(psu).enabled_flag, kvrn::parse_d,
                           kvrn::reading(KVRN_SOURCE_FILE, KVRN_FACT_CHARGER))
             .value.value_or(1) > 0;
}

// Stores the integers at the start of a file, in order. Reports the read when there are at least `enough` integers.
// @return the number of integers, or -1 without a file
int scan_file(const char* path, std::span<int32_t* const> out, kvrn_fact fact, int enough) {
  char buffer[512];
  kvrn::FileText file = kvrn::read_file(path, buffer);
  int count = file.opened ? 0 : -1;
  for (int32_t* slot : out) {
    const auto number = kvrn::take_d(file.text);
    if (!number) break;
    if (slot != nullptr) *slot = *number;
    ++count;
  }
  if (count >= enough) kvrn::tell_file(path, file, kvrn::reading(KVRN_SOURCE_FILE, fact), count > 0, count);
  return count;
}

template <typename T>
void store(T* out, T value) {
  if (out != nullptr) *out = value;
}

bool is_error(uint32_t flags) { return (flags & ~informational_bits) != 0; }

}  // namespace

namespace kvrn {

int read_estimate(int psu, int32_t* time_s, int32_t* third, int32_t* fourth) {
  constexpr int tries = 3;
  constexpr int needed = 3;
  constexpr unsigned rest_us = 200'000;
  const About about(of_psu(psu));
  const FileName path = file_of("/tmp/.battery_info", psu);
  for (int attempt = 1; attempt <= tries; ++attempt) {
    int32_t charge = no_charge;
    int32_t last = -1;
    const std::array<int32_t*, 4> slots{&charge, time_s, third, &last};
    const int count = scan_file(path.c_str(), slots, KVRN_FACT_ESTIMATE, attempt < tries ? needed : -1);
    if (count >= 0 && fourth != nullptr) *fourth = last;
    if (count >= needed && charge != no_charge) return charge;
    pause_us(rest_us);  // the writer may have been writing the file
  }
  return no_charge;
}

std::optional<BatteryData> read_battery_data(int psu, std::optional<bool> known_active) {
  const About about(of_psu(psu));
  RecordFile record;
  if (!read_record(psu, record)) return std::nullopt;
  BatteryData data{record.flags, -1, -1};
  if (known_active ? *known_active : charger_active(psu)) {
    if (!is_error(data.flags)) data.charge_mah = record.charge;
    data.current_ma = record.current;
  } else {
    data.flags &= ~charger_bits;
  }
  return data;
}

Calibration read_calibration(int psu) {
  const About about(of_psu(psu));
  const FileName path = file_of("/tmp/.calibrating", psu);
  Calibration calibration{0, 100};
  const std::array<int32_t*, 2> slots{&calibration.state, &calibration.percentage};
  return scan_file(path.c_str(), slots, KVRN_FACT_CALIBRATING, -1) == 2 ? calibration : Calibration{0, 100};
}

int store_data(int psu, uint32_t* flags, int32_t* charge, int32_t* current) KVRN_INNER(store_data);
int store_data(int psu, uint32_t* flags, int32_t* charge, int32_t* current) {
  const auto data = kvrn::read_battery_data(psu);
  if (!data) return 0;
  store(flags, data->flags);
  store(charge, data->charge_mah);
  store(current, data->current_ma);
  return 1;
}

}  // namespace kvrn

const char* get_filename_bat_psu_id(const char* base, int battery) {
  static char name[512];
  if (battery < 1 || base == nullptr) return base;
  const int length = ::snprintf(name, sizeof name, "%s_%d", base, battery);
  if (length < 0 || static_cast<std::size_t>(length) >= sizeof name) name[0] = '\0';
  return name;
}

int get_battery_data_v2(int psu, int32_t* time_s, int32_t* third, int32_t* fourth) KVRN_DOOR(read_estimate);

int get_battery_data(int psu, int32_t* time_s, int32_t* third) {
  return kvrn::read_estimate(psu, time_s, third, nullptr);
}

int is_battery_error_flag(uint32_t flags) { return is_error(flags) ? 1 : 0; }

int read_battery_flags(int psu, uint32_t* flags, int32_t* charge) {
  return kvrn::store_data(psu, flags, charge, nullptr);
}

int read_battery_flags_v2(int psu, uint32_t* flags, int32_t* charge, int32_t* current) KVRN_DOOR(store_data);

int kvrn_battery_flags(int psu, int charger_active, uint32_t* flags) {
  const auto data = kvrn::read_battery_data(psu, charger_active != 0);
  if (!data) return 0;
  store(flags, data->flags);
  return 1;
}

int get_battery_internal_resistance(int psu) {
  static int32_t resistance = 0;
  static int64_t loaded_mtime = 0;
  const FileName name = file_of("/etc/persistent/battery_data2", psu);
  const char* path = name.c_str();
  struct stat status {};
  if (::stat(path, &status) != 0 || status.st_mtime == loaded_mtime) return resistance;
  resistance = 0;
  ParameterFile file;
  switch (read_versioned(path, 1, KVRN_FACT_RESISTANCE, &file.version, sizeof file)) {
    case Content::missing:
      return 0;
    case Content::wrong_version:
      (void)::unlink(path);  // if this fails, the next call tries again
      return 0;
    case Content::version_alone:
      return 0;
    case Content::record:
      break;
  }
  loaded_mtime = status.st_mtime;
  resistance = file.resistance;
  return resistance;
}

int read_battery_calibrating(int psu, int32_t* percentage) {
  const kvrn::Calibration calibration = kvrn::read_calibration(psu);
  store(percentage, calibration.percentage);
  return calibration.state;
}
