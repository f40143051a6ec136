// SPDX-License-Identifier: MIT
// glob for one size of struct stat. The C library matches the names, and reads the folders through the hooks.
#pragma once

#include <dirent.h>
#include <glob.h>
#include <sys/stat.h>

#include "sim/hooks/hook.hpp"

// The symbol is given as text, because the headers rename the plain name for some sizes.
#define KVRN_GLOB(function, symbol, Glob, Stat, next, status, link_status)                                    \
  extern "C" __attribute__((visibility("default"))) int function(const char*, int, int (*)(const char*, int), \
                                                                 Glob*) __asm__(symbol);                      \
  extern "C" int function(const char* pattern, int flags, int (*failed)(const char*, int), Glob* out) {       \
    if ((flags & GLOB_ALTDIRFUNC) == 0) {                                                                     \
      out->gl_opendir = [](const char* path) { return static_cast<void*>(::opendir(path)); };                 \
      out->gl_readdir = [](void* directory) { return next(static_cast<DIR*>(directory)); };                   \
      out->gl_closedir = [](void* directory) { (void)::closedir(static_cast<DIR*>(directory)); };             \
      out->gl_stat = [](const char* path, Stat* into) { return status(path, into); };                         \
      out->gl_lstat = [](const char* path, Stat* into) { return link_status(path, into); };                   \
    }                                                                                                         \
    const auto call = kvrn::sim::real<int (*)(const char*, int, int (*)(const char*, int), Glob*)>(symbol);   \
    return call(pattern, flags | GLOB_ALTDIRFUNC, failed, out);                                               \
  }
