# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# on BOARD COMMAND...: shows a command as a user would type it on the device, and runs it there.
on() {
  local board=$1
  shift
  printf '\n%s$ %s\n' "$board" "$*"
  kvrn-sim run "$work/$board" -- "$@" || true
}

show_board() {
  local board=$1
  kvrn-sim new "$work/$board" --board "$board"
  step "The $board board"
  on "$board" kvrnctl board
  on "$board" kvrnctl psu
}

# change BOARD WHAT COMMAND...: runs COMMAND, which changes the device, and shows which readings changed.
change() {
  local board=$1 what=$2
  shift 2
  kvrn-sim run "$work/$board" -- kvrnctl psu >"$work/before"
  "$@"
  kvrn-sim run "$work/$board" -- kvrnctl psu >"$work/after"
  printf '\n-- %s: %s\n' "$board" "$what"
  diff -U0 "$work/before" "$work/after" | sed '1,2d; /^@@/d' || true
}

demo_default() {
  show_board four-source
  on four-source kvrnctl psu 3
  show_board three-source
  step "The device changes"
  change four-source "mains fails on input 0" kvrn-sim set "$work/four-source" gpio 211 1
  change four-source "the smart battery is pulled" kvrn-sim set "$work/four-source" i2c 2-0b absent
  change three-source "mains fails on input 0" kvrn-sim set "$work/three-source" gpio 211 1
  change three-source "the supply in slot 1 is pulled" kvrn-sim set "$work/three-source" gpio 200 1
  on four-source kvrnctl get psu.3.voltage_mv
  on four-source kvrnctl doctor | awk '/^(ok|absent)/ { skip = 1 } /^(STATUS|failed|$|four)/ { skip = 0 } !skip'
  demo_snmp
}

# Shows the SNMP tree through a real agent, which stops when the demo ends.
demo_snmp() {
  step "What a network manager sees: kvrn-agentd behind a private snmpd, and snmpwalk"
  python3 dev.d/walk.py
}

# A mains outage. The monitor publishes readings, two readers read them, and all agree at every step.
demo_outage() {
  step "A mains outage on the three-source board, as kvrnctl watch shows it"
  KVRN_BIN=$PWD/build/native/bin python3 dev.d/story.py tests/scenarios/outage.txt --show
}

name=${1:-default}
known demo "$name"

need_packages "${packages_build[@]}" "${packages_demo[@]}"
step "Building the library, the programs and the simulated device (minutes the first time)"
build_tools

export PATH=$PWD/build/native/bin:$PATH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"demo_$name"
