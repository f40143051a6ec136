// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kvrnctl {

// @return whether all of it was written; else errno says why not
bool write_all(int fd, std::string_view text);

// Replaces a file that other programs read at any time: they see the old text or the new one, never a part. Everybody
// may read the file. It is not flushed: after a power failure the next text replaces it anyway.
// @return empty, or why the old file stays
std::string replace_output(const std::string& path, std::string_view text);

// Removes a file that replace_output() could have written. Anything else stays.
// @return empty, or why this file stays
std::string remove_output(const std::string& path);

}  // namespace kvrnctl
