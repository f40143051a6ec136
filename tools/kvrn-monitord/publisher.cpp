// SPDX-License-Identifier: MIT
#include "tools/kvrn-monitord/publisher.hpp"

#include <fmt/core.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "board/platform.hpp"

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

// Why the file does not hold a reading of that time or later; empty when it does.
std::string why_not_published(const kvrn::ImageSpec& spec, std::int64_t since) {
  const kvrn::Fd fd = kvrn::Fd::open(spec.path, O_RDWR | O_NOFOLLOW | O_NONBLOCK);  // no FIFO blocks it
  if (!fd) return std::strerror(errno);
  struct stat status {};
  struct statvfs room {};
  if (::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) return "not a regular file";
  const auto size = static_cast<off_t>(spec.size);
  if (status.st_size > size) return fmt::format("{} bytes long instead of {}: remove it", status.st_size, size);
  if (status.st_size == size) {
    kvrn_be_i64 stamp;
    const auto bytes = std::as_writable_bytes(std::span(&stamp, 1));
    if (kvrn::read_image(fd.get(), bytes, spec.size - sizeof stamp) && stamp >= since) return "";
  }
  return ::fstatvfs(fd.get(), &room) == 0 && room.f_bavail == 0 ? std::strerror(ENOSPC) : "cannot be written";
}

}  // namespace

Publisher::Publisher()
    : smart_battery_(has_smart_battery()), psus_(::psu_info_cache_new()), outputs_(::output_cache_new(&limit_mw_, 0)) {}

bool Publisher::refresh() {
  const std::int64_t start = ::get_timestamp_mono();
  // At each attempt the library says why a file cannot be written; the first time is enough.
  const int mask = ::setlogmask(failure_.empty() ? 0 : LOG_UPTO(LOG_ERR));
  // The battery first: the readout of the power sources takes it from the file, so the bus is read once a period.
  if (smart_battery_) publish_battery();
  psus_->update(psus_.get());
  limit_mw_ = limit_of(::get_max_usable_power_ex(0, psus_.get()));
  outputs_->update(outputs_.get());
  (void)::setlogmask(mask);
  // An update's result is no status; the files are.
  std::string failure;
  for (const kvrn::ImageSpec& file : {kvrn::raw_battery_file, kvrn::psu_cache_file, kvrn::output_cache_file}) {
    if (file.path == kvrn::raw_battery_file.path && !smart_battery_) continue;
    if (const std::string why = why_not_published(file, start); !why.empty())
      failure += fmt::format("{}{}: {}", failure.empty() ? "" : "; ", file.path, why);
  }
  log_change(std::move(failure));
  return failure_.empty();
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

void Publisher::log_change(std::string failure) {
  if (failure == failure_) return;
  failure_ = std::move(failure);
  if (failure_.empty())
    ::syslog(LOG_NOTICE, "publishing again");
  else
    ::syslog(LOG_ERR, "cannot publish, trying again: %s", failure_.c_str());
}

}  // namespace monitord
