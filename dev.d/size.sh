# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
source dev.d/mips.sh
build_mips OFF
python3 dev.d/size.py build/mips/lib/libkvrn.so.1
