// SPDX-License-Identifier: MIT
// The sections of the documents: what the library says, with unknown as null.
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
  std::vector<psu_info> records;    // one a PSU of the board; empty when `exit` is not ok
  std::vector<observe::Seen> seen;  // what was read for them
  json source;                      // as source_of() has it
  Exit exit = Exit::ok;
  std::string error;

  bool direct() const { return source["kind"] == "direct"; }
};
PsuReading read_psus(Source source);

// Reads every source from the hardware, whatever is published. @return how many there are
int read_hardware(psu_info* psus);

// The DC outputs of this board.
int output_count();

// Whether this board has one; it fails the result of a command that is about batteries if not.
bool has_batteries(Result& result);
inline constexpr const char* no_battery = "this board has no battery";

// The sections of a reading. What was not read is null, and the reason goes into `errors`.
json psu_list(const PsuReading& reading, bool batteries_only, Errors& errors);

// Whether a source is known not to be there, battery or supply: its nulls are no failed readings.
bool is_absent(const json& psu);

// What was seen of an image; null when nobody asked for it.
const observe::Seen* image_of(const std::vector<observe::Seen>& seen, kvrn_fact records);

// Where readings come from, in every document: "kind" ("cache" or "direct"), "path" (of the image, else null), "age_s"
// (null without a time that has been), "fresh", and "reason": why the readings are not from a fresh image, else null.
json source_of(const observe::Seen* image, bool direct);

// Whether a fact stayed unknown: its line, register or attribute did not answer, and no file overrides it.
bool is_unknown(const std::vector<observe::Seen>& seen, kvrn_subject subject, int number, kvrn_fact fact);

// Whether nothing but silence came from a source's bus: a battery that is not there does not acknowledge its address.
bool is_silent(const std::vector<observe::Seen>& seen, int psu);

// A line for each source of these facts that failed: "PSU 0 mains: GPIO 211: Device or resource busy". Once a source.
void note_failures(const std::vector<observe::Seen>& seen, Errors& errors);

}  // namespace kvrnctl
