// SPDX-License-Identifier: MIT
// The DC outputs: their switches and states.
#pragma once

#include <kvrn/cache.h>

#include <span>

namespace kvrn {

// Whether an output is switched on. An output that no board has counts as on.
bool is_output_on(int output);

// Measures the outputs and determines the state of each. With an overload and a limit it also sheds outputs.
void read_outputs(std::span<output_status> records, const int* limit_mw);

}  // namespace kvrn
