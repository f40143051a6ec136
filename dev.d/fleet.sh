# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# fleet [N]: N simulated devices under Prometheus and Alertmanager, and three of them with a fault.
number=${1:-20}
if [[ ! $number =~ ^[0-9]+$ ]] || ((number < 8 || number > 200)); then
  die_usage "fleet: a number from 8 to 200, not '$number'"
fi
need_packages "${packages_build[@]}" "${packages_demo[@]}" "${packages_monitoring[@]}"
build_tools
PATH=$PWD/build/native/bin:$PATH python3 dev.d/fleet.py "$number"
