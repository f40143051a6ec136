# SPDX-License-Identifier: MIT
"""The examples on simulated devices."""
import os
import pathlib
import subprocess
import tempfile
import unittest

BUILD, SOURCE = os.environ["KVRN_BUILD"], pathlib.Path(os.environ["KVRN_SOURCE"])
os.environ["PATH"] = f"{BUILD}/bin:" + os.environ["PATH"]

# Command, board, what is set on the device, status, and lines of the output in order.
CASES = (
    ("sources", "three-source", (), 0, ("PSU 0: usable, 54000 mV", "PSU 2: usable, 51900 mV")),
    ("sources", "four-source", ("gpio mains-1-fail 1",), 0, ("PSU 0: not usable, voltage unknown", "PSU 2: usable, 26150 mV")),
    ("low_battery 79", "four-source", (), 1, ("PSU 2: 87 %", "PSU 3: 78 %, low")),
    ("low_battery", "four-source", ("i2c 2-0b absent", "file /tmp/.battery_info_1 x"), 1, ("PSU 3: charge unknown",)),
    ("wait_for_outage 9", "four-source", ("gpio mains-2-fail 1", "file /tmp/.ac_outage_check 1"), 0,
     ("input 1 has no mains; the device's state is 7",)),
    ("wait_for_outage 0", "four-source", (), 1, ("mains on both inputs",)),
    ("change_setting netconf.1.devname eth7", "four-source", ("file /tmp/system.cfg netconf.1.devname=eth0",), 0,
     ("netconf.1.devname was eth0", "netconf.1.devname=eth7")),
    ("change_setting a 1", "four-source", ("file /tmp/system.cfg b=2",), 0, ("a was not set", "a=1")),
    ("walk_tree", "four-source", (), 0, ('1.3.6.1.4.1.47474.1.5.1.1.0 = "QP4-eu"', "61 objects")),
    ("module_host", "three-source", (), 0, ("kvrn: 52 objects at .1.3.6.1.4.1.47474",)),
    ("shared_file COUNTER", "generic", (), 0, ("1",)),
    ("battery_readout 12", "four-source", (), 0, ("26150 mV at -640 mA, 24373 mV without load",)),
    ("battery_readout", "generic", (), 1, ("the monitor does not answer",)),
    ("why_unknown 3", "four-source", ("i2c 2-0b 0x09 refuse",), 0,
     ("/dev/i2c-2, device 0x0b, register 9: Input/output error", "PSU 3: voltage unknown")),
)


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=60)


class Examples(unittest.TestCase):
    def lines_in_order(self, done, status, lines):
        self.assertEqual(done.returncode, status, done)
        remaining = iter(done.stdout.splitlines())
        for line in lines:
            self.assertIn(line, remaining, done.stdout)

    def test_programs(self):
        for command, board, changes, status, lines in CASES:
            with self.subTest(command, changes=changes), tempfile.TemporaryDirectory() as folder:
                device = folder + "/device"
                self.assertEqual(run("kvrn-sim", "new", device, "--board", board).returncode, 0)
                for change in changes:
                    kind, where, *what = change.split()
                    self.assertEqual(run("kvrn-sim", "set", device, kind, where, *what).returncode, 0, change)
                name, *words = command.replace("COUNTER", folder + "/counter").split()
                self.lines_in_order(run("kvrn-sim", "run", device, "--", f"{BUILD}/examples/{name}", *words), status, lines)

    def test_a_board_of_ones_own(self):
        done = run(SOURCE / "examples/custom_board.sh", BUILD + "/examples/sources")
        self.lines_in_order(done, 0, ("PSU 0: usable, 56000 mV", "PSU 1: not usable, voltage unknown", "PSU 2: usable, 44100 mV"))
