// SPDX-License-Identifier: MIT
// Tables and lines that several commands print.
#pragma once

#include <string>

#include "tools/kvrnctl/context.hpp"
#include "tools/kvrnctl/format.hpp"

namespace kvrnctl {

std::string outputs_text(const Context& context, const json& outputs);
std::string psus_text(const Context& context, const json& psus);

// Replaces the null values of an absent source by "-": they are not unknown.
json without_absent(json psu);

// Where a reading came from and how old it is.
std::string source_line(const json& source);

// The reason why an image gave no outputs: "/tmp/.output_cache: no such file".
std::string reason_of(const json& source);

// Readings of the outputs are shown at any age, but old readings fail the result (Exit::stale).
void fail_unless_fresh(Result& result, const json& output_source);

}  // namespace kvrnctl
