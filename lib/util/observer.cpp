// SPDX-License-Identifier: MIT
// This function has its own file because of programs that link both the shared library and its internal code. Such a
// program must call the function of the shared library, not the one of the internal code.
#include "util/observe.hpp"

void kvrn_observe(kvrn_observer callback, void* context) {
  const bool before = kvrn::self.callback != nullptr;
  kvrn::self = {callback, context, 0};
  kvrn::observers += (callback != nullptr ? 1 : 0) - (before ? 1 : 0);
}
