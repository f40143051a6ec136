// SPDX-License-Identifier: MIT
// The sensor summary as a document, for people and for other programs.
#pragma once

#include "tools/kvrnctl/sections.hpp"

namespace kvrnctl {

struct SensorReading {
  json section;        // "psus", "outputs", ...; null without memory
  json psu_source;     // as PsuReading::source
  json output_source;  // the same for the outputs: they are never read directly; none when nobody publishes them
  PsuReading psus;     // what the sections of the sources were made from
  std::vector<std::string> errors;
};
SensorReading read_sensors();

// The reading in the text exposition format of Prometheus. Values are in base units, and the names end with the unit.
// An unknown value has no line.
std::string metrics_text(const SensorReading& reading);

// The reading as the variables of Network UPS Tools, for the file of its driver dummy-ups. What could not be read for
// them alone goes into `errors`.
std::string nut_text(const SensorReading& reading, Errors& errors);

}  // namespace kvrnctl
