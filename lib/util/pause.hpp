// SPDX-License-Identifier: MIT
#pragma once

namespace kvrn {

// Sleeps for the whole time, even when signals interrupt the sleep.
void pause_us(unsigned microseconds);

}  // namespace kvrn
