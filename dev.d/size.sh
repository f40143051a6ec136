# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
source dev.d/mips.sh
build_mips OFF
build native kvrn-monitord kvrn-sim
python3 dev.d/size.py build/mips
python3 dev.d/memory.py build/native/bin
