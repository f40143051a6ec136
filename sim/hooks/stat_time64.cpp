// SPDX-License-Identifier: MIT
// Functions that only 32-bit systems have. This file is built with 64-bit time.
#include "sim/hooks/glob.hpp"
#include "sim/hooks/stat.inc"

#if __SIZEOF_POINTER__ == 4
KVRN_STAT(kvrn_sim_stat64_time64, "__stat64_time64", struct stat)
KVRN_STAT(kvrn_sim_lstat64_time64, "__lstat64_time64", struct stat)
KVRN_STATAT(kvrn_sim_fstatat64_time64, "__fstatat64_time64", struct stat)
KVRN_GLOB(kvrn_sim_glob64_time64, "__glob64_time64", glob_t, struct stat, ::readdir, ::stat, ::lstat)
#endif
