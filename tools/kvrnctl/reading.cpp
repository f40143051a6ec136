// SPDX-License-Identifier: MIT
// Where readings come from, and why some values could not be read.
#include <fmt/core.h>

#include <algorithm>
#include <cerrno>

#include "cache/image.hpp"
#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {
namespace {

using Reads = std::vector<observe::Seen>;

bool is_file(const observe::Seen& read) { return read.what.kind == KVRN_SOURCE_FILE; }

bool is_bus(const observe::Seen& read) {
  return read.what.kind == KVRN_SOURCE_I2C || read.what.kind == KVRN_SOURCE_BLOCK;
}

// No register of an absent battery answers. Only batteries have blocks: a read of a block shows that it is a battery.
bool is_absent_battery(const Reads& seen, const observe::Seen& read) {
  const bool battery = std::ranges::any_of(seen, [&](const observe::Seen& other) {
    return other.what.kind == KVRN_SOURCE_BLOCK && other.what.subject_number == read.what.subject_number;
  });
  return is_bus(read) && battery && is_silent(seen, read.what.subject_number);
}

}  // namespace

const observe::Seen* image_of(const Reads& seen, kvrn_fact records) {
  const auto found = std::ranges::find_if(seen, [&](const observe::Seen& read) {
    return read.what.kind == KVRN_SOURCE_IMAGE && read.is(KVRN_SUBJECT_DEVICE, 0, records);
  });
  return found == seen.end() ? nullptr : &*found;
}

json source_of(const observe::Seen* image, bool direct) {
  const bool opened = image != nullptr && (image->answered() || image->what.outcome == KVRN_OUTCOME_STALE);
  const bool aged = opened && image->what.value >= 0 && image->what.value != KVRN_NEVER_REFRESHED;
  const bool fresh = aged && image->what.value <= kvrn::image_max_age_s;
  if (!direct)
    return {{"kind", "cache"},
            {"path", image->path},
            {"age_s", aged ? json(image->what.value) : json(nullptr)},
            {"fresh", fresh},
            {"reason", fresh ? json(nullptr) : json(image->answer())}};
  std::string reason;
  if (image != nullptr)
    reason = fmt::format("{}: {}", image->path, image->answered() ? "cut short while it was read" : image->answer());
  return {{"kind", "direct"},
          {"path", nullptr},
          {"age_s", 0},
          {"fresh", true},
          {"reason", reason.empty() ? json(nullptr) : json(reason)}};
}

bool is_unknown(const Reads& seen, kvrn_subject subject, int number, kvrn_fact fact) {
  bool failed = false;
  for (const observe::Seen& read : seen) {
    if (!read.is(subject, number, fact)) continue;
    if (is_file(read) && read.answered()) return false;
    failed = failed || (!is_file(read) && read.failed());
  }
  return failed;
}

bool is_silent(const Reads& seen, int psu) {
  return std::ranges::none_of(seen, [psu](const observe::Seen& read) {
    const bool mine = read.what.subject == KVRN_SUBJECT_PSU && read.what.subject_number == psu;
    return is_bus(read) && mine && (read.answered() || read.what.error != ENXIO);
  });
}

int output_count() {
  int count = 0;
  (void)::get_dc_out_addrs(&count);
  return count;
}

bool has_batteries(Result& result) {
  if (::get_psu_count() > 2) return true;
  result.fail(Exit::not_on_this_board, no_battery);
  return false;
}

void note_failures(const Reads& seen, Errors& errors) {
  for (const observe::Seen& read : seen) {
    if (!read.failed() || read.what.kind == KVRN_SOURCE_IMAGE || read.what.kind == KVRN_SOURCE_BOARD) continue;
    const bool overridden =
        !is_file(read) && !is_unknown(seen, read.what.subject, read.what.subject_number, read.what.fact);
    if (overridden || is_absent_battery(seen, read)) continue;
    const std::string line = fmt::format("{}: {}: {}", read.fact(), read.source(), read.answer());
    if (std::ranges::find(errors, line) == errors.end()) errors.push_back(line);
  }
}

}  // namespace kvrnctl
