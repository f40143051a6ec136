// SPDX-License-Identifier: MIT
#pragma once

#include <stdio.h>

#include "cfg/record.hpp"
#include "util/door.hpp"

namespace kvrn {

// The configuration file of the running device.
inline constexpr const char* device_config = "/tmp/system.cfg";

// Reads the configuration of a stream or file; see parse_stream() and parse(). The caller owns it: Config(load(path)).
cfg_entry* load(FILE* stream) KVRN_INNER(load_stream);
cfg_entry* load(const char* path) KVRN_INNER(load_path);

}  // namespace kvrn
