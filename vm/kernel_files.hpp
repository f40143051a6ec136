// SPDX-License-Identifier: MIT
// Files of the kernel, and of this machine.
#pragma once

#include <string>

namespace kvrn::vm {

// The content of a file; empty where there is none.
std::string get(const std::string& path);
// Writes to a file of the kernel, which must take the text in one write. Throws what stops the program when it does
// not.
void put(const std::string& path, const std::string& text);
// Makes or replaces a file.
void put_file(const std::string& path, const std::string& text);
// A module of /lib/modules.
void unload_module(std::string name);
void load_module(const std::string& name, const std::string& options);
std::string first_word(const std::string& text);

}  // namespace kvrn::vm
