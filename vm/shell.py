# SPDX-License-Identifier: MIT
"""A console on the machine, with a healthy four-source device.

usage: shell.py KERNEL IMAGE"""
import subprocess
import sys

import bad_input
from machine import Machine

with Machine(*sys.argv[1:], append="kvrn_shell") as machine:
    bad_input.prepare(machine)
    subprocess.run(["mv", machine.share + "/healthy", machine.share + "/start"], check=True)
    sys.exit(subprocess.run(machine.command("-serial", "mon:stdio", "-serial", "null")).returncode)
