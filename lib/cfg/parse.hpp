// SPDX-License-Identifier: MIT
#pragma once

#include <stdio.h>

#include "cfg/model.hpp"
#include "util/door.hpp"

namespace kvrn {

// The running device's configuration.
inline constexpr const char* device_config = "/tmp/system.cfg";

// The configuration of a stream or file; empty as parse_stream() and parse() say. Whoever
// calls owns it: Config(load(path)).
cfg_entry* load(FILE* stream) KVRN_INNER(load_stream);
cfg_entry* load(const char* path) KVRN_INNER(load_path);

}  // namespace kvrn
