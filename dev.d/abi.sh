# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
need_packages "${packages_build[@]}" "${packages_abi[@]}" "${packages_cross[@]}"
configure_options=(-DKVRN_TESTS=OFF)
build native kvrn
python3 dev.d/abi.py store build/native/lib/libkvrn.so native mips
git -c safe.directory='*' --no-pager diff --stat -- lib/abi
