// SPDX-License-Identifier: MIT
// The device's folder, and access to the folder without the hooks.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace kvrn::sim {

// Large enough for the folder and the longest path. The kernel, not the hooks, refuses a path that is too long.
constexpr size_t path_size = 8192;

// The canonical path of the device's folder, or null when this process does not run on a device. A folder that cannot
// be opened is returned as it was given.
const char* root();

// Whether a path belongs to the device. All other paths belong to the machine.
bool is_device_path(const char* path);

// Whether a folder of the machine contains paths that belong to the device, as /tmp does.
bool is_shared_folder(const char* path);

// The real path of a file: in the device's folder when the path belongs to the device, else the path itself. `folder`
// is the descriptor from which a relative path starts.
const char* redirect_at(int folder, const char* path, char (&buffer)[path_size]);
const char* redirect(const char* path, char (&buffer)[path_size]);

// The canonical path of an open file or folder, or of the current folder (AT_FDCWD). Does not change errno.
bool path_of(int fd, char (&buffer)[path_size]);

// The path on the device of an open file ("/dev/i2c-2"). Null when the file is not in the device's folder.
const char* device_of(int fd, char (&buffer)[path_size]);

// open_raw() opens a real path without the hooks. The other two read and write small text files; the format gives a
// path relative to the device's folder.
int open_raw(const char* path, int flags, unsigned mode = 0);
__attribute__((format(printf, 3, 4))) bool read_state(char* text, size_t size, const char* format, ...);
__attribute__((format(printf, 2, 3))) bool write_state(const char* text, const char* format, ...);

// Appends a line to the folder's file "trace", if there is one.
__attribute__((format(printf, 1, 2))) void trace(const char* format, ...);

// The end of a trace line: "" for 0, else the name of the error, such as " EIO".
const char* outcome(int error);

}  // namespace kvrn::sim
