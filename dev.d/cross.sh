# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
source dev.d/mips.sh
timed "Cross build (big-endian MIPS)" build_mips
ls -lL build/mips/lib/libkvrn.so.1 build/mips/lib/libgpiod.so.3
