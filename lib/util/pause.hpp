// SPDX-License-Identifier: MIT
#pragma once

namespace kvrn {

// Sleeps the whole time, signals or not.
void pause_us(unsigned microseconds);

}  // namespace kvrn
