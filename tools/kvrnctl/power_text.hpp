// SPDX-License-Identifier: MIT
// Tables and lines that several commands print.
#pragma once

#include <string>

#include "tools/kvrnctl/context.hpp"
#include "tools/kvrnctl/format.hpp"

namespace kvrnctl {

std::string outputs_text(const Context& context, const json& outputs);
std::string psus_text(const Context& context, const json& psus);

// Where a reading came from and how old it is.
std::string source_line(const json& source);

}  // namespace kvrnctl
