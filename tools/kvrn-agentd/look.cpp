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

 private:
  static void see(const kvrn_observation* read, void* context) {
    const bool absent = read->kind == KVRN_SOURCE_FILE && read->outcome == KVRN_OUTCOME_FAILED && read->error == ENOENT;
    if (read->outcome != KVRN_OUTCOME_ANSWERED && !absent) ++static_cast<Failures*>(context)->count_;
  }

  int count_ = 0;
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

// The module serves readings of the outputs of any age. A stamp in the future says nothing about the age.
bool is_fresh(const kvrn_output_image& image) {
  const std::int64_t stamp = image.stamp;
  const std::int64_t now = kvrn::monotonic_s();
  return stamp >= 0 && stamp <= now && now - stamp <= kvrn::image_max_age_s;
}

void look_at_outputs(Look& look) {
  if (kvrn::output_count() == 0) return;
  const auto image = published_outputs();
  look.outputs_frozen = !image || !is_fresh(*image);
  if (*look.outputs_frozen) return;
  std::ranges::transform(image->records, look.outputs.begin(), [](const output_status& record) {
    return Look::Output{record.state, record.enabled != 0};
  });
}

void look_at_state(Look& look) {
  std::array<psu_info, kvrn::most_sources> records{};
  (void)kvrn::read_sources(records.data(), nullptr);
  const Failures failures;
  const int code = ::get_device_state(records.data());
  if (failures.count() == 0) look.device_state = code;
}

// Whether the module of this library made the table.
bool describes_device(const snmp_host::ObjectTable& table) { return table.find(psu_count) != nullptr; }

}  // namespace

Look look_at_device(TablePtr table) {
  Look look{.table = std::move(table)};
  if (!describes_device(*look.table)) return look;
  look_at_outputs(look);
  look_at_state(look);
  return look;
}

Look look_without_readings() {
  static const auto empty = std::make_shared<const snmp_host::ObjectTable>();
  return {.table = empty, .expired = true};
}

}  // namespace agentd
