// SPDX-License-Identifier: MIT
#include "tools/kvrn-monitord/publisher.hpp"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "board/platform.hpp"
#include "util/text.hpp"

namespace monitord {
namespace {

constexpr kvrn::WriterSpec battery_file{{kvrn::raw_battery_file.path, kvrn::raw_battery_file.size, "Battery data",
                                         kvrn::raw_battery_file.ages, kvrn::raw_battery_file.what},
                                        "file",
                                        sizeof(kvrn_sbs_battery_info)};

bool has_smart_battery() {
  return std::ranges::any_of(kvrn::platform_of(::board_identify()->system_id).present(),
                             [](const auto& source) { return source.kind == kvrn::SourceKind::smart_battery; });
}

// Shedding asks whether the outputs draw more than the limit: without a budget nothing is shed.
int limit_of(int budget_mw) { return budget_mw == 0 ? std::numeric_limits<int>::max() : budget_mw; }

// What the battery told last, which a new file is filled with: in the first seconds after the device's start readers
// take a file that is mapped and not yet published for a fresh one.
kvrn_raw_battery_image reading;

void fill(std::span<std::byte> image) { std::memcpy(image.data(), &reading, sizeof reading); }

using Reason = kvrn::Text<128>;
Reason because(const char* text) { return Reason("%s", text); }

// Why the file does not hold a reading of that time or later; empty when it does.
Reason why_not_published(const kvrn::ImageSpec& spec, std::int64_t since) {
  const kvrn::Fd fd = kvrn::Fd::open(spec.path, O_RDWR | O_NOFOLLOW | O_NONBLOCK);  // no FIFO blocks it
  if (!fd) return because(std::strerror(errno));
  struct stat status {};
  struct statvfs room {};
  if (::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) return because("not a regular file");
  const auto size = static_cast<off_t>(spec.size);
  if (status.st_size > size)
    return Reason("%lld bytes long instead of %lld: remove it", static_cast<long long>(status.st_size),
                  static_cast<long long>(size));
  if (status.st_size == size) {
    kvrn_be_i64 stamp;
    const auto bytes = std::as_writable_bytes(std::span(&stamp, 1));
    if (kvrn::read_image(fd.get(), bytes, spec.size - sizeof stamp) && stamp >= since) return because("");
  }
  const bool full = ::fstatvfs(fd.get(), &room) == 0 && room.f_bavail == 0;
  return because(full ? std::strerror(ENOSPC) : "cannot be written");
}

}  // namespace

Publisher::Publisher()
    : smart_battery_(has_smart_battery()), psus_(::psu_info_cache_new()), outputs_(::output_cache_new(&limit_mw_, 0)) {}

bool Publisher::refresh() {
  const std::int64_t start = ::get_timestamp_mono();
  // At each attempt the library says why a file cannot be written; the first time is enough.
  const int mask = ::setlogmask(failure_[0] == '\0' ? 0 : LOG_UPTO(LOG_ERR));
  // The battery first: the readout of the power sources takes it from the file, so the bus is read once a period.
  if (smart_battery_) publish_battery();
  psus_->update(psus_.get());
  limit_mw_ = limit_of(::get_max_usable_power_ex(0, psus_.get()));
  outputs_->update(outputs_.get());
  (void)::setlogmask(mask);
  // An update's result is no status; the files are.
  Failure failure{};
  std::size_t length = 0;
  for (const kvrn::ImageSpec& file : {kvrn::raw_battery_file, kvrn::psu_cache_file, kvrn::output_cache_file}) {
    if (file.path == kvrn::raw_battery_file.path && !smart_battery_) continue;
    const Reason why = why_not_published(file, start);
    if (why.c_str()[0] == '\0') continue;
    const int added = std::snprintf(failure.data() + length, failure.size() - length, "%s%s: %s",
                                    length == 0 ? "" : "; ", file.path, why.c_str());
    length += static_cast<std::size_t>(added);
  }
  log_change(failure);
  return length == 0;
}

void Publisher::publish_battery() {
  // Without a bus this is the record of a battery of which nothing is known, as who asks the bus gets it too.
  for (int psu = 0; psu < ::get_psu_count(); ++psu) (void)::kvrn_smart_battery_read(psu, &reading.records[psu]);
  kvrn::drop_if_replaced(battery_file, battery_image_);
  if (battery_image_.start == nullptr) {
    kvrn::Fd fd = kvrn::open_for_writing(battery_file, fill);
    if (!fd || !kvrn::map_for_writing(battery_file, std::move(fd), battery_image_)) return;
  }
  (void)kvrn::publish(battery_file, battery_image_, std::as_bytes(std::span(reading.records)));
}

void Publisher::log_change(const Failure& failure) {
  if (failure == failure_) return;
  failure_ = failure;
  if (failure_[0] == '\0')
    ::syslog(LOG_NOTICE, "publishing again");
  else
    ::syslog(LOG_ERR, "cannot publish, trying again: %s", failure_.data());
}

}  // namespace monitord
