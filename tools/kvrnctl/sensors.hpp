// SPDX-License-Identifier: MIT
// The sensor summary as a document, for people and for other programs.
#pragma once

#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {

struct SensorReading {
  json section;        // "psus", "outputs", ...; null without memory
  json psu_source;     // as PsuReading::source
  json output_source;  // the same of the outputs, which are never read directly; none of them where nobody publishes
  std::vector<std::string> errors;
};
SensorReading read_sensors();

// The same in the text exposition format of Prometheus: base units, which the names end in. What is unknown has no
// line.
std::string metrics_text(const SensorReading& reading);

}  // namespace kvrnctl
