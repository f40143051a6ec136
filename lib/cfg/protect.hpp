// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/cfg.h>

namespace kvrn {

// Sets both pointers to the sealed texts when the key is a user password and the texts fit; see
// adv_vento_cfg_encrypt().
void seal_line(const char*& key, const char*& value);

// Replaces the texts of a sealed entry with the plain ones; see adv_vento_cfg_decrypt_entry().
void open_entry(cfg_entry& entry);

}  // namespace kvrn
