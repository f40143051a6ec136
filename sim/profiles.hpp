// SPDX-License-Identifier: MIT
// The boards that can be simulated.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace kvrn::sim {

std::vector<std::string> profile_names();

// Makes a device in a folder that is missing or empty. Throws std::runtime_error with the reason when it cannot.
void create_root(const std::filesystem::path& root, std::string_view profile);

}  // namespace kvrn::sim
