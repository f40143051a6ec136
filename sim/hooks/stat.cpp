// SPDX-License-Identifier: MIT
#include "sim/hooks/stat.inc"

KVRN_STAT(kvrn_sim_stat, "stat", struct stat)
KVRN_STAT(kvrn_sim_lstat, "lstat", struct stat)
KVRN_STATAT(kvrn_sim_fstatat, "fstatat", struct stat)
KVRN_STAT(kvrn_sim_stat64, "stat64", struct stat64)
KVRN_STAT(kvrn_sim_lstat64, "lstat64", struct stat64)
KVRN_STATAT(kvrn_sim_fstatat64, "fstatat64", struct stat64)
