// SPDX-License-Identifier: MIT
// What the battery monitoring process keeps about each battery in files.
#include <errno.h>
#include <kvrn/battery.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "battery/data_files.hpp"
#include "psu/readout.hpp"
#include "util/handle.hpp"
#include "util/number.hpp"
#include "util/pause.hpp"
#include "util/read_file.hpp"

namespace {

using kvrn::Fd;

constexpr uint32_t informational_bits = 0x1B4;
constexpr uint32_t charger_bits = 0x30;  // meaningless while the charger is idle
constexpr int no_charge = -2;

int battery_index(int psu) { return kvrn::wrap_i32(int64_t{psu} - 2); }

// The record of "/etc/persistent/battery_data", as far as it is used here.
struct BatteryRecord {
  kvrn_be_i32 word_0 = -1;
  kvrn_be_u32 flags = 0;
  kvrn_be_i32 word_8 = -1;
  uint8_t bytes_12[100]{};
  kvrn_be_i32 charge = 0;     // mAh
  kvrn_be_i32 current = 0;    // mA
  uint8_t bytes_120[8]{};
};
static_assert(sizeof(BatteryRecord) == 128);
static_assert(offsetof(BatteryRecord, charge) == 112);

// The parameters of "/etc/persistent/battery_data2".
struct Parameters {
  kvrn_be_i32 resistance = 0;
  uint8_t rest[48]{};
};
static_assert(sizeof(Parameters) == 52);

bool read_exactly_version(int fd, int32_t wanted) {
  kvrn_be_i32 version;
  return ::read(fd, &version, sizeof version) == sizeof version && version == wanted;
}

bool read_record(int psu, BatteryRecord& record) {
  // A record of another version leaves its file open, which programs that watch their descriptors know; one at most:
  // the next such file closes it.
  static int left_open = -1;
  Fd fd = Fd::open(::get_filename_bat_psu_id("/etc/persistent/battery_data", battery_index(psu)), O_RDONLY);
  if (!fd) return false;
  if (!read_exactly_version(fd.get(), 2)) {
    const Fd earlier(left_open);
    left_open = fd.release();
    return false;
  }
  return ::read(fd.get(), &record, sizeof record) > 0;
}

bool charger_active(int psu) {
  const char* path = psu == 2 ? kvrn::hwmon_charger.enabled_flag : kvrn::smart_charger.enabled_flag;
  return kvrn::read_number(path, kvrn::parse_d).value.value_or(1) > 0;
}

}  // namespace

const char* get_filename_bat_psu_id(const char* base, int battery) {
  static char name[512];
  if (battery < 1) return base;
  (void)::snprintf(name, sizeof name, "%s_%d", base, battery);
  return name;
}
