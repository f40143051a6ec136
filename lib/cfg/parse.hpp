// SPDX-License-Identifier: MIT
#pragma once

#include <stdio.h>

#include "cfg/model.hpp"

namespace kvrn {

// The running device's configuration.
inline constexpr const char* device_config = "/tmp/system.cfg";

// The configuration of a stream or file; empty as parse_stream() and parse() say.
Config load(FILE* stream);
Config load(const char* path);

}  // namespace kvrn
