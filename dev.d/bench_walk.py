# SPDX-License-Identifier: MIT
"""Measures bulk walks in objects per second. Through snmpd, compares kvrn-agentd with a minimal sub-agent that uses
net-snmp's table helper and serves as many constants. Each sub-agent has its own master. The master asks for one object
at a time, so the kernel and net-snmp need nearly all of the time, equally for both sub-agents. Without snmpd,
kvrn-agentd answers a whole request at once. The walks alternate, and the fastest walk of each counts."""
import os
import subprocess
import sys
import tempfile
import time

from snmpd import ROOT, Alone, Master, serving
from walk import agent_command, make_device

ROUNDS = 25
# kvrn-agentd has threads, which share a locked descriptor table: this costs 2 %. The rest allows for a busy machine.
BOUND = 0.9
ALONE_BOUND = 5


def start(master):
    master.start()
    # The minimal sub-agent retries a failed connection only after 15 s: wait until it can connect at once.
    while not os.path.exists(master.socket):
        time.sleep(0.1)
    time.sleep(0.5)
    return master


def walk(agent):
    """Returns the number of objects of a walk, and the seconds of the fastest of a few walks."""
    done = subprocess.run(["snmp_client", "walk", agent.address, "20"], check=True, capture_output=True, text=True)
    objects, seconds = done.stdout.split()
    return int(objects), float(seconds)


def measure(counts):
    """Returns the rate of each agent."""
    times = {agent: [] for agent in counts}
    for _ in range(ROUNDS):
        for agent, count in counts.items():
            walked, seconds = walk(agent)
            if walked != count:
                sys.exit(f"a walk of {walked} objects in place of {count}")
            times[agent].append(seconds / count)
    return {agent: 1 / min(seconds) for agent, seconds in times.items()}


def is_met(what, ratio, bound):
    print(f"{what}: ratio {ratio:.2f} (at least {bound}) {'ok' if ratio >= bound else 'MISSED'}")
    return ratio >= bound


def main():
    # Run all processes on one processor. On several, the result depends on where the scheduler wakes each process.
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    with tempfile.TemporaryDirectory() as folder, Master() as own, Master() as peer, Alone() as alone:
        root = make_device(folder)
        first = ("INTEGER", ROOT + ".1.5.3.2.1.1.1")
        with serving(start(own), agent_command(root, own), *first), serving(alone, agent_command(root, alone), *first):
            objects = walk(own)[0]
            columns = 5
            rows = -(-objects // columns)
            with serving(start(peer), ["table_agent", peer.socket, str(rows), str(columns)], *first):
                rate = measure({own: objects, alone: objects, peer: rows * columns})
    print(f"through snmpd {rate[own]:8.0f} objects a second ({objects} objects)")
    print(f"table helper  {rate[peer]:8.0f} objects a second ({rows * columns} objects)")
    print(f"without snmpd {rate[alone]:8.0f} objects a second ({objects} objects)")
    met = (is_met("through snmpd / table helper", rate[own] / rate[peer], BOUND),
           is_met("without snmpd / through snmpd", rate[alone] / rate[own], ALONE_BOUND))
    sys.exit(0 if all(met) else 1)


main()
