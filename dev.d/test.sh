# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
need_packages "${packages_build[@]}" "${packages_test[@]}"
# A newer compiler may warn of more, which is no reason to stop a user.
configure_options=(${CI:+-DKVRN_WERROR=ON})
timed "Build (native)" build native
timed "Tests" run_tests native ${1:+-R "$1"}
print_timings
