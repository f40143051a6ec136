// SPDX-License-Identifier: MIT
// Expected texts in files; KVRN_UPDATE_GOLDEN=1 writes them anew.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/files.hpp"

inline void expect_golden(const std::string& name, const std::string& text) {
  const std::string path = std::string(KVRN_GOLDEN "/") + name;
  if (std::getenv("KVRN_UPDATE_GOLDEN") != nullptr) write_text(path, text);
  EXPECT_EQ(text, read_text(path)) << path;
}
