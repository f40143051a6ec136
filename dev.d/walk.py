# SPDX-License-Identifier: MIT
"""Walks the simulated four-source board through kvrn-agentd and a private snmpd on a loopback port."""
import subprocess
import sys
import tempfile

from snmpd import ROOT, Master, serving

SIM = ["kvrn-sim", "run"]
# An answer and its object: they show that the agent serves this board.
PSU_COUNT = ("Gauge32: 4", ROOT + ".1.5.3.1.0")


def make_device(folder):
    root = folder + "/device"
    subprocess.run(["kvrn-sim", "new", root, "--board", "four-source"], check=True)
    subprocess.run([*SIM, root, "--", "kvrn-monitord", "--once", "--pid-file", folder + "/pid"], check=True)
    return root


def agent_command(root, agent, *words):
    state = [] if "--state" in agent.words else ["--state", agent.folder + "/state"]
    return [*SIM, root, "--", "kvrn-agentd", *agent.words, *state, *words]


def main():
    with tempfile.TemporaryDirectory() as folder, Master() as master:
        root = make_device(folder)
        master.start()
        with serving(master, agent_command(root, master), *PSU_COUNT):
            names = ["-M", "tests/mibs:mibs", "-m", "KVRN-Quorvex-MIB"]
            print(f"\n$ snmpwalk -v2c -c kvrn {' '.join(names)} {master.address} {ROOT[1:]}", flush=True)
            walk = master.ask("snmpwalk", ROOT, options=["-OS", *names])
            print(walk, end="")
    # snmpwalk succeeds even when it finds nothing.
    if "kvrnPsuVoltage.4 = INTEGER: 25904 millivolts" not in walk:
        sys.exit("the walk is not complete")


if __name__ == "__main__":
    main()
