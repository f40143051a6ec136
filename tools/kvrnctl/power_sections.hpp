// SPDX-License-Identifier: MIT
// The sections of outputs, budget, device state and battery capacity.
#pragma once

#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {

struct OutputReading {
  json list;
  json source;  // "kind", "path", "age_s", "fresh" and, where the cache was passed over, "reason"
};
OutputReading read_outputs();
json output_section(const output_status& output, int id);

json budget_section();
json state_section();
json capacity_section();

}  // namespace kvrnctl
