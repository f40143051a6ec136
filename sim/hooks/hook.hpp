// SPDX-License-Identifier: MIT
// A hook replaces a function of the C library and has the same name. It looks up the real function when it needs it.
#pragma once

#include <dlfcn.h>

#define KVRN_HOOK extern "C" __attribute__((visibility("default")))

namespace kvrn::sim {

template <typename Function>
Function real(const char* name) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

}  // namespace kvrn::sim
