# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
need_packages "${packages_build[@]}"
board=${1:-four-source}
configure_options=(-DKVRN_TESTS=OFF)
build native kvrn-sim
boards=$(build/native/bin/kvrn-sim profiles)
grep -qxF -- "$board" <<<"$boards" || die_usage "no board '$board': ${boards//$'\n'/, }"
build_tools
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/device
build/native/bin/kvrn-sim new "$root" --board "$board"
say "A shell on a simulated $board board in $root. Try: kvrnctl psu; kvrn-sim set $root gpio 211 1; exit"
PATH=$PWD/build/native/bin:$PATH build/native/bin/kvrn-sim run "$root" -- bash --norc -i || true
