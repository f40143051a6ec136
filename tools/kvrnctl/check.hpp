// SPDX-License-Identifier: MIT
// The state of the whole device as one line with an exit status, as monitoring systems expect it from their plugins.
#pragma once

#include <string>
#include <vector>

#include "tools/kvrnctl/context.hpp"

namespace kvrnctl {

// Judges flags, sources, outputs and device state. `ignored` are beginnings of subjects that are as they should be:
// "psu.1" for an input that never has mains, "output-config" for a flag. The exit status is 0 to 3, as plugins use it.
Result check(const std::vector<std::string>& ignored);

// A line about a text that cannot begin a subject; else empty.
std::string not_a_subject(const std::string& text);

}  // namespace kvrnctl
