// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/cfg.h>

namespace kvrn {

// Truncates the file and writes it again, with user passwords protected if `protect` is set. 0, or -1 when the file
// cannot be opened.
int write_cfg(const cfg_entry* cfg, const char* path, bool protect);

}  // namespace kvrn
