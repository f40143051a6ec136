// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/cfg.h>

namespace kvrn {

// Rewrites the file in place, user passwords protected when `protect`. 0, or -1 when it cannot be opened.
int write_cfg(const cfg_entry* cfg, const char* path, bool protect);

}  // namespace kvrn
