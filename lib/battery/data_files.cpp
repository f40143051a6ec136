// SPDX-License-Identifier: MIT
// What the battery monitoring process keeps about each battery in files. Fields that no name is given to are that
// process's own.
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

#include "board/platform.hpp"
#include "util/handle.hpp"
#include "util/number.hpp"
#include "util/pause.hpp"
#include "util/read_file.hpp"
#include "util/text.hpp"

namespace {

using kvrn::Fd;

constexpr uint32_t informational_bits = 0x1B4;
constexpr uint32_t charger_bits = 0x30;  // mean nothing while the charger is idle
constexpr int no_charge = -2;

// "/etc/persistent/battery_data"; what a short file lacks keeps these values.
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

// "/etc/persistent/battery_data2" as far as it is used here.
struct ParameterFile {
  kvrn_be_i32 version = 0;
  kvrn_be_i32 resistance = 0;
};
static_assert(sizeof(ParameterFile) == 8);

using FileName = kvrn::Text<64>;

// As get_filename_bat_psu_id() names it, without its buffer: threads may ask for different batteries.
FileName file_of(const char* base, int psu) {
  const int battery = kvrn::wrap_i32(int64_t{psu} - 2);
  return battery < 1 ? FileName("%s", base) : FileName("%s_%d", base, battery);
}

// A file of another version stays open. One at a time: a process that polls must not run out of descriptors.
void leave_open(Fd fd) {
  static std::atomic<int> left_open = -1;
  const Fd earlier(left_open.exchange(fd.release()));
}

enum class Content { wrong_version, version_alone, record };

// Reads what there is of a file over the preset values. The file is closed unless its version is wrong.
template <typename File>
Content read_versioned(Fd fd, int32_t version, File& out) {
  ssize_t got;
  do {
    got = ::read(fd.get(), &out, sizeof out);
  } while (got < 0 && errno == EINTR);
  constexpr auto version_size = static_cast<ssize_t>(sizeof out.version);
  if (got < version_size || out.version != version) {
    leave_open(std::move(fd));
    return Content::wrong_version;
  }
  return got == version_size ? Content::version_alone : Content::record;
}

// A FIFO in place of a file must not block.
Fd open_file(const char* path) { return Fd::open(path, O_RDONLY | O_NONBLOCK); }

bool read_record(int psu, RecordFile& record) {
  Fd fd = open_file(file_of("/etc/persistent/battery_data", psu).c_str());
  return fd && read_versioned(std::move(fd), 2, record) == Content::record;
}

bool charger_active(int psu) {
  const kvrn::Charger& charger = psu == kvrn::hwmon_charger.psu ? kvrn::hwmon_charger : kvrn::smart_charger;
  return kvrn::read_number(charger.enabled_flag, kvrn::parse_d).value.value_or(1) > 0;
}

// Stores the integers at the start of a file, in order. @return how many there are, or -1 without a file
int scan_file(const char* path, std::span<int32_t* const> out) {
  char buffer[512];
  kvrn::FileText file = kvrn::read_file(path, buffer);
  if (!file.opened) return -1;
  int count = 0;
  for (int32_t* slot : out) {
    const auto number = kvrn::take_d(file.text);
    if (!number) break;
    if (slot != nullptr) *slot = *number;
    ++count;
  }
  return count;
}

int try_battery_data(int psu, int32_t* time_s, int32_t* third, int32_t* fourth) {
  int32_t charge = no_charge;
  int32_t last = -1;
  const std::array<int32_t*, 4> slots{&charge, time_s, third, &last};
  const int count = scan_file(file_of("/tmp/.battery_info", psu).c_str(), slots);
  if (count >= 0 && fourth != nullptr) *fourth = last;
  return count < 3 ? no_charge : charge;
}

template <typename T>
void store(T* out, T value) {
  if (out != nullptr) *out = value;
}

}  // namespace

const char* get_filename_bat_psu_id(const char* base, int battery) {
  static char name[512];
  if (battery < 1 || base == nullptr) return base;
  const int length = ::snprintf(name, sizeof name, "%s_%d", base, battery);
  if (length < 0 || static_cast<std::size_t>(length) >= sizeof name) name[0] = '\0';
  return name;
}

int get_battery_data_v2(int psu, int32_t* time_s, int32_t* third, int32_t* fourth) {
  constexpr int tries = 3;
  constexpr unsigned rest_us = 200'000;
  for (int attempt = 0; attempt < tries; ++attempt) {
    const int charge = try_battery_data(psu, time_s, third, fourth);
    if (charge != no_charge) return charge;
    kvrn::pause_us(rest_us);  // the writer may have been at it
  }
  return no_charge;
}

int get_battery_data(int psu, int32_t* time_s, int32_t* third) {
  return ::get_battery_data_v2(psu, time_s, third, nullptr);
}

int is_battery_error_flag(uint32_t flags) { return (flags & ~informational_bits) != 0 ? 1 : 0; }

int read_battery_flags(int psu, uint32_t* flags, int32_t* charge) {
  return ::read_battery_flags_v2(psu, flags, charge, nullptr);
}

int read_battery_flags_v2(int psu, uint32_t* flags, int32_t* charge, int32_t* current) {
  RecordFile record;
  if (!read_record(psu, record)) return 0;
  uint32_t bits = record.flags;
  int32_t charge_mah = -1;
  int32_t current_ma = -1;
  if (charger_active(psu)) {
    if (::is_battery_error_flag(bits) == 0) charge_mah = record.charge;
    current_ma = record.current;
  } else {
    bits &= ~charger_bits;
  }
  store(flags, bits);
  store(charge, charge_mah);
  store(current, current_ma);
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
  Fd fd = open_file(path);
  if (!fd) return 0;
  ParameterFile file;
  switch (read_versioned(std::move(fd), 1, file)) {
    case Content::wrong_version:
      (void)::unlink(path);  // what cannot be deleted is met again at the next call
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
  int32_t state = 0;
  int32_t percent = 100;
  const std::array<int32_t*, 2> slots{&state, &percent};
  const bool complete = scan_file(file_of("/tmp/.calibrating", psu).c_str(), slots) == 2;
  store(percentage, complete ? percent : 100);
  return complete ? state : 0;
}
