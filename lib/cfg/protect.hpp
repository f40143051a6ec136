// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/cfg.h>

namespace kvrn {

// Points both at the sealed line when the key is a user password and fits; see adv_vento_cfg_encrypt().
void seal_line(const char*& key, const char*& value);

// Replaces a sealed entry by the plain one; see adv_vento_cfg_decrypt_entry().
void open_entry(cfg_entry& entry);

}  // namespace kvrn
