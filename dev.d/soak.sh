# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
requests=${1:-100000}
expect_number "$requests"
need_packages "${packages_build[@]}" "${packages_bench[@]}" "${packages_demo[@]}"
build bench
for way in snmpd alone; do
  step "$requests requests: $way"
  PATH=$PWD/build/bench/bin:$PATH python3 dev.d/soak.py "$way" "$requests"
done
