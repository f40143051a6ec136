// SPDX-License-Identifier: MIT
// The tables of the tree. Each column has a type and a function that returns its value. The rows follow from the
// columns.
#pragma once

#include <kvrn/snmp.h>

namespace kvrn {

// Each function adds its count and its rows. @return the first result of add_object() that is not 0, else 0
int add_outputs(void* host, sensors_info& info);
int add_psus(void* host, sensors_info& info);
int add_temperatures(void* host);

}  // namespace kvrn
