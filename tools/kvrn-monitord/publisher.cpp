// SPDX-License-Identifier: MIT
#include "tools/kvrn-monitord/publisher.hpp"

#include <syslog.h>

#include <limits>

#include "board/platform.hpp"

namespace monitord {
namespace {

constexpr int smart_battery_psu = 3;

constexpr kvrn::WriterSpec battery_file{
    {kvrn::raw_battery_file.path, kvrn::raw_battery_file.size, "Battery data", kvrn::raw_battery_file.ages},
    "file",
    sizeof(sbs_battery_info)};

bool has_smart_battery() {
  const kvrn::Platform& platform = kvrn::platform_of(::board_identify()->system_id);
  return platform.psu_count > smart_battery_psu && platform.battery(smart_battery_psu) == kvrn::BatteryReader::smart;
}

// Shedding asks whether the outputs draw more than the limit: without a budget nothing is shed.
int limit_of(int budget_mw) { return budget_mw == 0 ? std::numeric_limits<int>::max() : budget_mw; }

}  // namespace

Publisher::Publisher()
    : smart_battery_(has_smart_battery()), psus_(::psu_info_cache_new()), outputs_(::output_cache_new(&limit_mw_, 0)) {}

bool Publisher::refresh() {
  const std::int64_t start = ::get_timestamp_mono();
  // At each attempt the library says why a file cannot be written; the first time is enough.
  const int mask = ::setlogmask(working_ ? 0 : LOG_UPTO(LOG_ERR));
  // The battery first: the readout of the power sources takes it from the file, so the bus is read once a period.
  bool published = !smart_battery_ || publish_battery();
  psus_->update(psus_.get());
  limit_mw_ = limit_of(::get_max_usable_power_ex(0, psus_.get()));
  outputs_->update(outputs_.get());
  // An update's result is no status; the files are.
  for (const kvrn::ImageSpec& cache : {kvrn::psu_cache_file, kvrn::output_cache_file})
    published = is_published(cache, start) && published;
  (void)::setlogmask(mask);
  log_change(published);
  return published;
}

bool Publisher::is_published(const kvrn::ImageSpec& spec, std::int64_t since) {
  const kvrn::Fd fd = kvrn::Fd::open(spec.path, O_RDONLY | O_NONBLOCK);  // no FIFO blocks it
  kvrn_be_i64 stamp;
  const auto bytes = std::as_writable_bytes(std::span(&stamp, 1));
  return fd && kvrn::has_size(fd.get(), spec.size) && kvrn::read_image(fd.get(), bytes, spec.size - sizeof stamp) &&
         stamp >= since;
}

bool Publisher::publish_battery() {
  kvrn::drop_if_replaced(battery_file, battery_image_);
  if (battery_image_.start == nullptr) {
    kvrn::Fd fd = kvrn::open_for_writing(battery_file, nullptr);
    if (!fd || !kvrn::map_for_writing(battery_file, std::move(fd), battery_image_)) return false;
  }
  raw_battery_image image{};
  // Without a bus there is nothing to publish: the file ages, and readers ask on their own.
  const std::int64_t start = ::get_timestamp_mono();
  if (::sbs_battery_get_direct(&image.records[smart_battery_psu]) == 0) return true;
  (void)kvrn::publish(battery_file, battery_image_, std::as_bytes(std::span(image.records)));
  return is_published(kvrn::raw_battery_file, start);
}

void Publisher::log_change(bool working) {
  if (working == working_) return;
  working_ = working;
  ::syslog(working ? LOG_NOTICE : LOG_ERR, working ? "publishing again" : "a file cannot be written, trying again");
}

}  // namespace monitord
