// SPDX-License-Identifier: MIT
// The library's own board tables. A test program is itself one of those that get a copy of exported data, so the
// symbols are looked up in the library.
#pragma once

#include <dlfcn.h>
#include <kvrn/board.h>

#include <span>

#include "board/models_ar724x.hpp"
#include "board/models_qca953x.hpp"

inline void* library_symbol(const char* name) {
  void* const library = ::dlopen("libkvrn.so.1", RTLD_NOW | RTLD_NOLOAD);
  void* const symbol = library == nullptr ? nullptr : ::dlsym(library, name);
  if (library != nullptr) ::dlclose(library);
  return symbol;
}

inline kvrn_board_record& ar724x_generic() { return *static_cast<kvrn_board_record*>(library_symbol("ar7240_board")); }
inline kvrn_board_record& qca953x_generic() { return *static_cast<kvrn_board_record*>(library_symbol("ar953x_board")); }
inline std::span<kvrn_board_record> ar724x_rows() {
  return {&ar724x_generic() - kvrn::models_ar724x.size(), kvrn::models_ar724x.size()};
}
inline std::span<kvrn_board_record> qca953x_rows() {
  return {&qca953x_generic() - kvrn::models_qca953x.size(), kvrn::models_qca953x.size()};
}
