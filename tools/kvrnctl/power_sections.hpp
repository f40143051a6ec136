// SPDX-License-Identifier: MIT
// The sections of outputs, budget, device state and battery capacity.
#pragma once

#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {

struct OutputReading {
  json list;
  json source;                               // as source_of() has it
  std::optional<std::int64_t> drawn_uw = 0;  // of all outputs; nothing when one could not be read
  Errors errors;
};
OutputReading read_outputs();
json output_section(const output_status& output, int id);
json milliwatts(std::int64_t microwatts);

// What could not be read for a section goes into `errors`; a file that is not there is no error.
json budget_section(const PsuReading& psus, const OutputReading& outputs, Errors& errors);
inline constexpr const char* no_budget = "this board has no power budget";
json state_section(const PsuReading& psus, Errors& errors);
json capacity_section(Errors& errors);

// Whether a battery's file ("/tmp/.battery_info") is there. Asking the library for one that is not takes 600 ms.
inline constexpr const char* battery_info = "/tmp/.battery_info";
// What the library makes of that, for people.
inline constexpr const char* no_estimate = "no program publishes an estimate of the battery: it counts as nearly empty";
bool has_battery_file(const char* base, int psu);
// Whether nothing but the missing estimate makes the library call the battery nearly empty.
bool lacks_estimate(int psu);
// What the battery monitoring process estimates: "estimated_charge_pct" and "estimated_time_s", null where it has told
// nothing.
json battery_estimate(int psu);

}  // namespace kvrnctl
