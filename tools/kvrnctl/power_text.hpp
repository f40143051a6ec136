// SPDX-License-Identifier: MIT
// Tables and lines that several commands print.
#pragma once

#include <string>

#include "tools/kvrnctl/context.hpp"
#include "tools/kvrnctl/format.hpp"

namespace kvrnctl {

std::string outputs_text(const Context& context, const json& outputs);
std::string psus_text(const Context& context, const json& psus);

// What is not there has no unknown values: "-" stands for them.
json without_absent(json psu);

// Where a reading came from and how old it is.
std::string source_line(const json& source);

// Why an image that holds no outputs for us does not: "/tmp/.output_cache: no such file".
std::string reason_of(const json& source);

// Readings of the outputs are shown whatever their age; old ones are a failure of their own.
void fail_unless_fresh(Result& result, const json& output_source);

}  // namespace kvrnctl
