# SPDX-License-Identifier: MIT
"""A console on the machine, with a healthy four-source device.

usage: shell.py KERNEL IMAGE"""
import subprocess
import sys

from machine import Machine

with Machine(*sys.argv[1:], append="kvrn_shell") as machine:
    machine.give("start", "four-source")
    sys.exit(subprocess.run(machine.command("-serial", "mon:stdio", "-serial", "null")).returncode)
