# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
need_packages "${packages_build[@]}" "${packages_test[@]}"
timed "Build (native)" build native
run_tests native ${1:+-R "$1"}
