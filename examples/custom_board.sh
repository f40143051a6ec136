#!/bin/sh
# SPDX-License-Identifier: MIT
# custom_board.sh PROGRAM...: runs a program on a customised simulated board. It is the three-source board with 56 V
# supplies, an empty slot, and a nearly empty battery. Needs kvrn-sim in the PATH.
set -eu
device=$(mktemp -d)
trap 'rm -rf "$device"' EXIT

kvrn-sim new "$device" --board three-source
kvrn-sim set "$device" i2c 2-58 0x8b 140                          # a supply's output voltage, 400 mV per count
kvrn-sim set "$device" gpio slot-2-empty 1                        # the second slot is empty
kvrn-sim set "$device" hwmon mon-battery in0_input 44100          # mV
kvrn-sim set "$device" file /tmp/.battery_info "8 600 0"          # percent, seconds left, internal to the monitor
kvrn-sim set "$device" --new hwmon mon-inlet temp1_input 41000    # a monitor that the board does not have
kvrn-sim run "$device" -- "$@"
