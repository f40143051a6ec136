// SPDX-License-Identifier: MIT
// The sensor summary as a document, for people and for other programs.
#pragma once

#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {

struct SensorReading {
  json section;        // "psus", "outputs", ...; null without memory
  json psu_source;     // as PsuReading::source
  json output_source;  // the same for the outputs: they are never read directly; none when nobody publishes them
  std::vector<std::string> errors;
};
SensorReading read_sensors();

// The reading in the text exposition format of Prometheus. Values are in base units, and the names end with the unit.
// An unknown value has no line.
std::string metrics_text(const SensorReading& reading);

}  // namespace kvrnctl
