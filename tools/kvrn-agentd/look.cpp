// SPDX-License-Identifier: MIT
#include "tools/kvrn-agentd/look.hpp"

#include <kvrn/observe.h>
#include <kvrn/psu.h>
#include <kvrn/status.h>

#include <algorithm>
#include <cerrno>
#include <span>
#include <utility>

#include "cache/image.hpp"
#include "cache/view.hpp"
#include "psu/readout.hpp"
#include "status/flags.hpp"
#include "tools/kvrn-agentd/condition.hpp"
#include "tools/kvrn-agentd/tree.hpp"
#include "util/clock.hpp"

namespace agentd {
namespace {

// Counts the reads of this thread that should have answered and did not. A missing flag file has a default.
class Failures {
 public:
  Failures() { ::kvrn_observe(see, this); }
  ~Failures() { ::kvrn_observe(nullptr, nullptr); }
  Failures(const Failures&) = delete;

  int count() const { return count_; }
  int lines() const { return lines_; }  // those of GPIO lines

 private:
  static void see(const kvrn_observation* read, void* context) {
    const bool absent = read->kind == KVRN_SOURCE_FILE && read->outcome == KVRN_OUTCOME_FAILED && read->error == ENOENT;
    if (read->outcome == KVRN_OUTCOME_ANSWERED || absent) return;
    auto& failures = *static_cast<Failures*>(context);
    ++failures.count_;
    if (read->kind == KVRN_SOURCE_GPIO) ++failures.lines_;
  }

  int count_ = 0;
  int lines_ = 0;
};

std::optional<kvrn_output_image> published_outputs() {
  const kvrn::ImageSpec& spec = kvrn::output_cache_file;
  const kvrn::Fd fd = kvrn::Fd::open_regular(spec.path, O_RDONLY);
  kvrn_output_image image;
  if (!fd || !kvrn::has_size(fd.get(), spec.size) ||
      !kvrn::read_image(fd.get(), std::as_writable_bytes(std::span(&image, 1)), 0))
    return std::nullopt;
  return image;
}

// Nothing for a stamp that says nothing about the age: it is in the future, or there was no refresh.
std::optional<std::int64_t> age_of(const std::optional<kvrn_output_image>& image) {
  const std::int64_t now = kvrn::monotonic_s();
  if (!image || image->stamp < 0 || image->stamp > now) return std::nullopt;
  return now - image->stamp;
}

// The module serves readings of the outputs of any age. When the device starts, this program may be earlier than
// kvrn-monitord.
void look_at_outputs(Look& look) {
  if (kvrn::output_count() == 0) return;
  static const std::int64_t first_look = kvrn::monotonic_s();
  const auto image = published_outputs();
  const auto age = age_of(image);
  const bool frozen = age.value_or(kvrn::monotonic_s() - first_look) > kvrn::image_max_age_s;
  if (!age && !frozen) return;
  look.outputs_frozen = frozen;
  if (frozen) return;
  std::ranges::transform(image->records, look.outputs.begin(), [](const output_status& record) {
    return Look::Output{record.state, record.enabled != 0};
  });
}

// A value of the table of sources; 0 where there is none.
std::int64_t value_of(const Look& look, int psu, Column column) {
  return Row(look, static_cast<unsigned>(psu) + 1).value(column).value_or(0);
}

// A line that cannot be read looks like lost mains or a missing battery, in the published readings too. Only the line
// itself tells. A source that answers no more over its bus is really gone.
void look_at_lines(Look& look) {
  for (int psu = 0; psu < kvrn::source_count(); ++psu) {
    if (value_of(look, psu, Column::psu_usable) != 0) continue;
    const Failures failures;
    psu_info ignored;
    (void)::psu_info_get_direct(&ignored, psu);
    if (failures.lines() == 0) continue;
    look.unread |= 1U << psu;
    look.mains_unread = look.mains_unread || ::psu_get_type(psu) == KVRN_PSU_TYPE_INPUT;
  }
}

// Without an estimate, the library takes a battery for nearly empty. Only its flag then says that it is low.
bool is_guess(int code, const Look& look) {
  if (code != KVRN_DEVICE_LOW_VOLTAGE) return false;
  bool lacks_estimate = false;
  for (int psu = 2; psu < kvrn::source_count(); ++psu) {
    if (kvrn::read_flag(kvrn::flags::low_voltage, psu) != 0) return false;
    lacks_estimate =
        lacks_estimate || (value_of(look, psu, Column::psu_usable) == 1 &&
                           value_of(look, psu, Column::psu_charge) == 0 && value_of(look, psu, Column::psu_time) == 0);
  }
  return lacks_estimate;
}

void look_at_state(Look& look) {
  if (look.unread != 0) return;
  std::array<psu_info, kvrn::most_sources> records{};
  {
    const Failures failures;
    (void)kvrn::read_sources(records.data(), nullptr);
    if (failures.lines() != 0) return;
  }
  const Failures failures;
  const int code = ::get_device_state(records.data());
  if (failures.count() == 0 && !is_guess(code, look)) look.device_state = code;
}

// Whether the module of this library made the table.
bool describes_device(const snmp_host::ObjectTable& table) { return table.find(psu_count) != nullptr; }

}  // namespace

Look look_at_device(TablePtr table) {
  Look look{.table = std::move(table)};
  if (!describes_device(*look.table)) return look;
  look_at_outputs(look);
  look_at_lines(look);
  look_at_state(look);
  return look;
}

Look look_without_readings() {
  static const auto empty = std::make_shared<const snmp_host::ObjectTable>();
  return {.table = empty, .expired = true};
}

}  // namespace agentd
