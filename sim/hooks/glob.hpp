// SPDX-License-Identifier: MIT
// glob for one width of struct stat: the C library does the matching, with the hooks for what it reads.
#pragma once

#include <dirent.h>
#include <glob.h>
#include <sys/stat.h>

#include "sim/hooks/hook.hpp"

// The symbol is given as text: the headers rename the plain name in some widths.
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
