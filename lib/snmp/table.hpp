// SPDX-License-Identifier: MIT
// The tables of the tree. A column is a type and the function that yields its value; the rows fall out of it.
#pragma once

#include <kvrn/snmp.h>

namespace kvrn {

// Each adds its count and its rows. @return as add_object(), at the first failure
int add_outputs(void* host, sensors_info& info);
int add_psus(void* host, sensors_info& info);
int add_temperatures(void* host);

}  // namespace kvrn
