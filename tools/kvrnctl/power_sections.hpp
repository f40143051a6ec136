// SPDX-License-Identifier: MIT
// The sections of outputs, budget, device state and battery capacity.
#pragma once

#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {

struct OutputReading {
  json list;
  json source;  // as image_source() has it; a direct reading has "reason", why the cache was passed over
};
OutputReading read_outputs();
json output_section(const output_status& output, int id);

json budget_section(const PsuReading& psus);
json state_section(const PsuReading& psus);
// What keeps a file from being read goes into `errors`; a file that is not there is no error.
json capacity_section(std::vector<std::string>& errors);

// Whether a battery's file ("/tmp/.battery_info") is there. Asking the library for one that is not takes 600 ms.
inline constexpr const char* battery_info = "/tmp/.battery_info";
// What the library makes of that, for people.
inline constexpr const char* no_estimate = "no program publishes an estimate of the battery: it counts as nearly empty";
// Opens what the library opens, for the reason that the library does not tell. @return it can be read, or is not there
bool note_unreadable(const char* path, std::vector<std::string>& errors);

bool has_battery_file(const char* base, int psu);
// Whether nothing but the missing estimate makes the library call the battery nearly empty.
bool lacks_estimate(int psu);
// What the battery monitoring process estimates: "charge_pct" and "time_s", null where it has told nothing.
json battery_estimate(int psu);

}  // namespace kvrnctl
