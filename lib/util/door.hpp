// SPDX-License-Identifier: MIT
// A C name that is an inner function of the same arguments and result. A function that only calls another takes 40
// bytes of the device's flash; a second name for the same code takes none.
#pragma once

// Behind the declaration of the inner function: the symbol by which the door finds it.
#define KVRN_INNER(symbol) __asm__("kvrn_inner_" #symbol)
// Behind the C name's own declaration, in the file that defines the inner function.
#define KVRN_DOOR(symbol) __attribute__((alias("kvrn_inner_" #symbol)))
