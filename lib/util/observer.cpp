// SPDX-License-Identifier: MIT
// A file of its own: a program that links with a hidden piece of the library as well must not get the piece's callback.
#include "util/observe.hpp"

void kvrn_observe(kvrn_observer callback, void* context) {
  const bool before = kvrn::self.callback != nullptr;
  kvrn::self = {callback, context, 0};
  kvrn::observers += (callback != nullptr ? 1 : 0) - (before ? 1 : 0);
}
