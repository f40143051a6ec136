# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# shellcheck source=dev.d/root.sh
source dev.d/root.sh
# What the steps need, before hours have passed.
as_root || die "./dev packages, which is a step of a release, takes root's rights"
need_packages "${packages_build[@]}" "${packages_test[@]}" "${packages_check[@]}" "${packages_cross[@]}" "${packages_abi[@]}" \
  "${packages_root[@]}" dpkg-dev
python3 dev.d/release.py "$@"
