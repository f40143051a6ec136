# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
need_packages "${packages_build[@]}"
build_tools
board=${1:-four-source}
root=$(mktemp -d)/device
build/native/bin/kvrn-sim new "$root" --board "$board"
say "A shell on a simulated $board board in $root. Try: kvrnctl psu; kvrn-sim set $root gpio 211 1; exit"
PATH=$PWD/build/native/bin:$PATH build/native/bin/kvrn-sim run "$root" -- bash --norc -i || true
rm -rf "$(dirname "$root")"
