// SPDX-License-Identifier: MIT
// A door is an exported C name for an internal function with the same arguments and result. A wrapper function would
// take 40 bytes of the device's flash. A second name for the same code takes none.
#pragma once

// Stands after the declaration of the internal function. Gives it the symbol that the door refers to.
#define KVRN_INNER(symbol) __asm__("kvrn_inner_" #symbol)
// Stands after the declaration of the C name, in the file that defines the internal function.
#define KVRN_DOOR(symbol) __attribute__((alias("kvrn_inner_" #symbol)))
