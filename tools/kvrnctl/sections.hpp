// SPDX-License-Identifier: MIT
// The sections of the documents: the library's values, with null for unknown values.
#pragma once

#include <kvrn/kvrn.h>

#include <optional>
#include <string>
#include <vector>

#include "tools/kvrnctl/context.hpp"
#include "tools/observe/seen.hpp"

namespace kvrnctl {

using Errors = std::vector<std::string>;

json board_section();
bool board_is_known();

// Where a PSU reading comes from.
enum class Source { automatic, cache, direct };

struct PsuReading {
  std::vector<psu_info> records;    // one per PSU of the board; empty when `exit` is not ok
  std::vector<observe::Seen> seen;  // what was read for the records
  json source;                      // as source_of() returns it
  Exit exit = Exit::ok;
  std::string error;

  bool direct() const { return source["kind"] == "direct"; }
};
PsuReading read_psus(Source source);

// Reads every power source from the hardware, without the published readings. @return the number of sources
int read_hardware(psu_info* psus);

// The number of DC outputs of this board.
int output_count();

// Whether this board has a battery. If it has none, the result fails.
bool has_batteries(Result& result);
inline constexpr const char* no_battery = "this board has no battery";

// The sections of a reading. A value that could not be read is null, and the reason goes into `errors`.
json psu_list(const PsuReading& reading, bool batteries_only, Errors& errors);

// Whether a battery or supply is known to be absent: its null values are not failed readings.
bool is_absent(const json& psu);

// What was seen of an image; null when the library did not look for it.
const observe::Seen* image_of(const std::vector<observe::Seen>& seen, kvrn_fact records);

// Where readings come from, in every document: "kind" ("cache" or "direct"), "path" (of the image, else null), "age_s"
// (null without a valid time), "fresh", and "reason": why the readings are not from a fresh image, else null.
json source_of(const observe::Seen* image, bool direct);

// Whether a fact stayed unknown: its line, register or attribute did not answer, and no file overrides it.
bool is_unknown(const std::vector<observe::Seen>& seen, kvrn_subject subject, int number, kvrn_fact fact);

// Whether a source acknowledged none of its reads on the bus: an absent battery does not acknowledge its address.
bool is_silent(const std::vector<observe::Seen>& seen, int psu);

// Adds a line for each read that failed: "PSU 0 mains: GPIO 211: Device or resource busy". Each line appears once.
void note_failures(const std::vector<observe::Seen>& seen, Errors& errors);

}  // namespace kvrnctl
