// SPDX-License-Identifier: MIT
// The library's own board tables. A test program is itself one of those that get a copy of exported data, so the
// symbols are looked up in the library.
#pragma once

#include <dlfcn.h>
#include <kvrn/board.h>
#include <link.h>

#include <cstddef>
#include <span>
#include <string>

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

// The text of a scrambled field.
inline std::string plain(const char* field, std::size_t size) {
  constexpr unsigned char key[] = {0x5A, 0x2C, 0x97, 0x3E};
  std::string text;
  for (std::size_t i = 0; i < size && field[i] != '\0'; ++i)
    text += static_cast<char>(static_cast<unsigned char>(field[i]) ^ key[i % 4]);
  return text;
}
