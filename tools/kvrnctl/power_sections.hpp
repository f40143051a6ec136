// SPDX-License-Identifier: MIT
// The sections of outputs, budget, device state and battery capacity.
#pragma once

#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {

struct OutputReading {
  json list;
  json source;                               // as source_of() returns it
  std::optional<std::int64_t> drawn_uw = 0;  // of all outputs; nothing when one could not be read
  Errors errors;
};
OutputReading read_outputs();
json output_section(const output_status& output, int id);
json milliwatts(std::int64_t microwatts);

// What could not be read for a section goes into `errors`. A missing file is no error.
json budget_section(const PsuReading& psus, const OutputReading& outputs, Errors& errors);
inline constexpr const char* no_budget = "this board has no power budget";
json state_section(const PsuReading& psus, Errors& errors);
json capacity_section(Errors& errors);

// The file with a battery's estimate. When it is missing, the library takes 600 ms to answer.
inline constexpr const char* battery_info = "/tmp/.battery_info";
// How the library treats a battery without an estimate, as a text for people.
inline constexpr const char* no_estimate = "no program publishes an estimate of the battery: it counts as nearly empty";
// Whether a battery's file exists. `base` is the path for PSU 2.
bool has_battery_file(const char* base, int psu);
// Whether the missing estimate is the only reason why the library treats the battery as nearly empty.
bool lacks_estimate(int psu);
// The estimate of the battery monitoring process: "estimated_charge_pct" and "estimated_time_s". Null without an
// estimate.
json battery_estimate(int psu);

}  // namespace kvrnctl
