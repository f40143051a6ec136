# SPDX-License-Identifier: MIT
"""Runs the monitor on a simulated device and prints how much memory it shares with no other process."""
import re
import subprocess
import sys
import tempfile
import time

LIMIT_KB = 1024


def main(programs):
    with tempfile.TemporaryDirectory() as folder:
        device = folder + "/device"
        subprocess.run([programs + "/kvrn-sim", "new", device], check=True)
        monitor = subprocess.Popen([programs + "/kvrn-sim", "run", device, "--", programs + "/kvrn-monitord",
                                    "--period", "0.1", "--pid-file", folder + "/pid"])
        time.sleep(2)
        with open(f"/proc/{monitor.pid}/smaps_rollup", encoding="ascii") as file:
            private = sum(int(size) for size in re.findall(r"^Private_(?:Clean|Dirty): *(\d+) kB", file.read(), re.M))
        monitor.terminate()
        monitor.wait()
    print(f"kvrn-monitord: {private} kB of private memory, the simulated device included (at most {LIMIT_KB})")
    if private > LIMIT_KB:
        sys.exit(f"{private - LIMIT_KB} kB too much")


main(sys.argv[1])
