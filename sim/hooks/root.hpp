// SPDX-License-Identifier: MIT
// The folder that stands for the device, and raw access to it that no hook sees.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace kvrn::sim {

// Room for the folder before the longest path: what is too long for the kernel is the kernel's to refuse.
constexpr size_t path_size = 8192;

// The canonical path of the device's folder, or null when this process runs without one. A folder that cannot be opened
// is returned as it was given.
const char* root();

// Whether a path is one of the device's own; everything else belongs to the machine.
bool is_device_path(const char* path);

// Whether some of the device's own paths lie below a folder that is the machine's, as /tmp.
bool is_shared_folder(const char* path);

// The file that stands for a path: in the device's folder, or the path itself. `folder` is the descriptor that a
// relative path starts from.
const char* redirect_at(int folder, const char* path, char (&buffer)[path_size]);
const char* redirect(const char* path, char (&buffer)[path_size]);

// The canonical path of an open folder, or of AT_FDCWD. Keeps errno.
bool path_of(int fd, char (&buffer)[path_size]);

// The path below the device's folder that a descriptor was opened with ("/dev/i2c-2"), or null.
const char* device_of(int fd, char (&buffer)[path_size]);

// Small text files of the folder, named relative to it.
int open_raw(const char* path, int flags, unsigned mode = 0);
__attribute__((format(printf, 3, 4))) bool read_state(char* text, size_t size, const char* format, ...);
__attribute__((format(printf, 2, 3))) bool write_state(const char* text, const char* format, ...);

// Appends a line to the folder's file "trace", if there is one.
__attribute__((format(printf, 1, 2))) void trace(const char* format, ...);

// "" for 0, else " EIO" and the like, for the end of a trace line.
const char* outcome(int error);

}  // namespace kvrn::sim
