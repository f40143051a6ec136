# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# shell [BOARD] [BASH'S ARGUMENTS]: runs an interactive shell, a command (-c "...") or a script from standard input.
board=four-source
if [[ $# -gt 0 && $1 != -* ]]; then
  board=$1
  shift
fi
# Read the boards from the source code: a wrong name is reported before anything is installed or built.
boards=$(sed -n '/ profiles\[\] = {/,/^};/s/^    {"\([a-z0-9-]*\)".*/\1/p' sim/profiles.cpp)
grep -qxF -- "$board" <<<"$boards" || die_usage "no board '$board': ${boards//$'\n'/, }"
# Standard input and output belong to the shell: installation and build must not use them.
need_packages "${packages_build[@]}" </dev/null >&2
build_tools </dev/null >&2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/$board
export PATH=$PWD/build/native/bin:$PATH
kvrn-sim new "$root" --board "$board"
if [[ $# -eq 0 && -t 0 ]]; then
  say "A shell on a simulated $board board in $root. Try: kvrnctl psu; kvrn-sim set \$KVRN_SIM_ROOT gpio 211 1; exit"
  export PS1="$board (simulated):\\w\\\$ "
  set -- -i
fi
kvrn-sim run "$root" -- bash --norc "$@"
