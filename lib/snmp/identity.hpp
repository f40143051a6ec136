// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/snmp.h>

namespace kvrn {

// Adds the texts that say what the device is, as far as their files have them. @return as add_object()
int add_identity(void* host);

}  // namespace kvrn
