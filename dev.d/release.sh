# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
need_packages "${packages_abi[@]}"
python3 dev.d/release.py "$@"
