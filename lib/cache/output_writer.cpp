// SPDX-License-Identifier: MIT
// The writer of the output cache: measures the DC outputs and decides what state each is in.
#include <kvrn/cache.h>
#include <kvrn/hw.h>
#include <kvrn/psu.h>
#include <kvrn/status.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>

#include "cache/view.hpp"
#include "cache/writer.hpp"
#include "util/number.hpp"

namespace {

constexpr kvrn::WriterSpec file{kvrn::output_cache_file, "output file", sizeof(output_status)};

constexpr int noise_uw = 100'000;
constexpr int idle_uw = 900'000;
constexpr int uw_per_mw = 1000;

struct Writer {
  cache_source source;
  const char* const* monitors;  // hwmon names
  int count;
  const int* limit_mw;  // the caller's
  uintptr_t word;       // the caller's, not used
  output_status* records;
  kvrn::WriterImage image;
};

Writer& writer_of(cache_source* self) { return *static_cast<Writer*>(self->state); }

bool mapped(Writer& writer) {
  kvrn::drop_if_replaced(file, writer.image);
  if (writer.image.start != nullptr) return true;
  kvrn::Fd fd = kvrn::open_for_writing(file, nullptr);
  if (!fd) return false;
  if (writer.records == nullptr)
    writer.records = static_cast<output_status*>(::calloc(KVRN_OUTPUT_MAX, sizeof(output_status)));
  if (writer.records == nullptr) {
    ::syslog(LOG_WARNING, "%s: Unable to prepare tmp memory for %s (%d)", file.image.log_prefix, file.image.path,
             errno);
    return false;
  }
  return kvrn::map_for_writing(file, std::move(fd), writer.image);
}

// A failed or negative reading is 0.
int reading(const char* monitor, const char* attribute) {
  int value = 0;
  (void)::i2c_hwmon_readint(monitor, attribute, &value);
  return std::max(value, 0);
}

void measure(output_status& record, const char* monitor, int output) {
  record.enabled = ::is_dc_out_enabled(output) != 0 && ::get_dc_hwprotect_error(output) == 0 ? 1 : 0;
  const int voltage_mv = reading(monitor, "in0_input");
  const int current_ma = reading(monitor, "curr1_input");
  const int power_uw = kvrn::mul_i32(voltage_mv, current_ma);
  record.voltage_mv = voltage_mv;
  record.current_ma = current_ma;
  record.power_uw = power_uw < noise_uw ? 0 : power_uw;  // a product that wraps below 0 as well
}

kvrn_output_state alarm_state(int output) {
  switch (::get_overload_status_port(output)) {
    case 2:
      return KVRN_OUTPUT_PROTECTED;
    case 1:
      return KVRN_OUTPUT_OVERLOAD;
    default:
      return ::insufficient_power_get() != 0 ? KVRN_OUTPUT_SHED : KVRN_OUTPUT_NORMAL;
  }
}

int power_mw(const output_status& record) { return record.power_uw / uw_per_mw; }

// Drops outputs until the rest is within the limit, the highest number first. An output that has a state already keeps
// it, but draws nothing any more either.
void shed(std::span<output_status> records, int total_mw, int limit_mw) {
  for (std::size_t i = records.size(); i-- > 0 && total_mw > limit_mw;) {
    total_mw = kvrn::add_i32(total_mw, -power_mw(records[i]));
    if (records[i].state == KVRN_OUTPUT_NORMAL) records[i].state = KVRN_OUTPUT_SHED;
  }
}

void decide(std::span<output_status> records, const char* const* monitors, const int* limit_mw) {
  const int overload = ::get_overload_status();
  const bool low_voltage = ::get_lvmonitor_status() == 1;
  int total_mw = 0;
  for (std::size_t i = 0; i < records.size(); ++i) {
    const auto output = static_cast<int>(i);
    measure(records[i], monitors[i], output);
    records[i].state = low_voltage ? KVRN_OUTPUT_SHED : alarm_state(output);
    if (!low_voltage) total_mw = kvrn::add_i32(total_mw, power_mw(records[i]));
  }
  if (!low_voltage && overload != 0 && limit_mw != nullptr) shed(records, total_mw, *limit_mw);
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (records[i].state != KVRN_OUTPUT_NORMAL) continue;
    if (::is_dc_out_cfg_enabled(static_cast<int>(i)) < 2)
      records[i].state = KVRN_OUTPUT_CONFIGURED_OFF;
    else if (records[i].power_uw < idle_uw)
      records[i].state = KVRN_OUTPUT_IDLE;
  }
}

int update(cache_source* self) {
  Writer& writer = writer_of(self);
  if (!mapped(writer)) return 0;
  const std::span records(writer.records, KVRN_OUTPUT_MAX);
  decide({writer.records, static_cast<std::size_t>(writer.count)}, writer.monitors, writer.limit_mw);
  return kvrn::publish(file, writer.image, std::as_bytes(records));
}

int get(cache_source* self, void* view) {
  const Writer& writer = writer_of(self);
  if (view == nullptr) return 0;
  auto& out = *static_cast<output_view*>(view);
  out = {};
  if (writer.image.start == nullptr) return 0;
  out = {static_cast<const output_status*>(writer.image.start), kvrn::output_count(), writer.image.fd};
  return 1;
}

void destroy(cache_source* self) {
  if (self == nullptr) return;
  ::free(writer_of(self).records);
  ::free(self);
}

}  // namespace

cache_source* output_cache_new(const int* limit_mw, uintptr_t word) {
  auto* writer = static_cast<Writer*>(::calloc(1, sizeof(Writer)));
  if (writer == nullptr) return nullptr;
  int count = 0;
  const char* const* monitors = ::get_dc_out_addrs(&count);
  *writer = {{writer, update, get, destroy}, monitors, std::min(count, KVRN_OUTPUT_MAX), limit_mw, word, nullptr, {}};
  (void)mapped(*writer);  // an update tries again
  return &writer->source;
}
