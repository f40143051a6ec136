# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
need_packages "${packages_build[@]}" "${packages_bench[@]}" "${packages_demo[@]}"
build bench
failed=0
for program in build/bench/bin/bench_*; do
  step "$(basename "$program")"
  "$program" --benchmark_enable_random_interleaving=true "$@" || failed=1
done
step "bulk walks through snmpd and without it"
PATH=$PWD/build/bench/bin:$PATH python3 dev.d/bench_walk.py || failed=1
exit "$failed"
