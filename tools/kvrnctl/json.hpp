// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json.hpp>

// Compiled only once, in json.cpp. Otherwise, each file that writes documents would take seconds longer to compile.
extern template class nlohmann::basic_json<nlohmann::ordered_map>;

namespace kvrnctl {

// Keys keep the order in which they are added.
using json = nlohmann::ordered_json;

}  // namespace kvrnctl
