// SPDX-License-Identifier: MIT
#pragma once

#include <kvrn/snmp.h>

namespace kvrn {

// Adds the texts that identify the device, if their files contain them. @return as add_object()
int add_identity(void* host);

}  // namespace kvrn
