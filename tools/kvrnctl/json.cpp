// SPDX-License-Identifier: MIT
#include "tools/kvrnctl/json.hpp"

template class nlohmann::basic_json<nlohmann::ordered_map>;
