// SPDX-License-Identifier: MIT
// A hook is a call of the C library under its own name; the call behind it is looked up when it is needed.
#pragma once

#include <dlfcn.h>

#define KVRN_HOOK extern "C" __attribute__((visibility("default")))

namespace kvrn::sim {

template <typename Function>
Function real(const char* name) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

}  // namespace kvrn::sim
