// SPDX-License-Identifier: MIT
// The DC outputs: their switches, and what state each is in.
#pragma once

#include <kvrn/cache.h>

#include <span>

namespace kvrn {

// Whether an output is switched on; one that nobody knows counts as on.
bool is_output_on(int output);

// Measures the outputs and decides the state of each; with an overload and a limit, which ones are to be dropped.
void read_outputs(std::span<output_status> records, const int* limit_mw);

}  // namespace kvrn
