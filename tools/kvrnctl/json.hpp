// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json.hpp>

// Compiled once, in json.cpp: each file that writes documents would take seconds to compile it again.
extern template class nlohmann::basic_json<nlohmann::ordered_map>;

namespace kvrnctl {

// The order of keys is the one that they are written in.
using json = nlohmann::ordered_json;

}  // namespace kvrnctl
