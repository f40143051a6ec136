# SPDX-License-Identifier: MIT
"""Measures bulk walks through snmpd in objects per second. Compares kvrn-agentd with a minimal sub-agent that uses
net-snmp's table helper and serves as many constants. Each sub-agent has its own master. The walks alternate, and the
fastest walk of each counts. The master asks for one object at a time, so the kernel and net-snmp need nearly all of the
time, equally for both sub-agents."""
import os
import subprocess
import sys
import tempfile
import time

from snmpd import ROOT, Master, serving
from walk import agent_command, make_device

ROUNDS = 25
# kvrn-agentd has threads, which share a locked descriptor table: this costs 2 %. The rest allows for a busy machine.
BOUND = 0.9


def start(master):
    master.start()
    # The minimal sub-agent retries a failed connection only after 15 s: wait until it can connect at once.
    while not os.path.exists(master.socket):
        time.sleep(0.1)
    time.sleep(0.5)
    return master


def walk(master):
    """Returns the number of objects of a walk, and the seconds of the fastest of a few walks."""
    done = subprocess.run(["snmp_client", "walk", master.address, "20"], check=True, capture_output=True, text=True)
    objects, seconds = done.stdout.split()
    return int(objects), float(seconds)


def measure(counts):
    times = {master: [] for master in counts}
    for _ in range(ROUNDS):
        for master, count in counts.items():
            walked, seconds = walk(master)
            if walked != count:
                sys.exit(f"a walk of {walked} objects in place of {count}")
            times[master].append(seconds / count)
    return times


def main():
    # Run all processes on one processor. On several, the result depends on where the scheduler wakes each process.
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    with tempfile.TemporaryDirectory() as folder, Master() as own, Master() as peer:
        root = make_device(folder)
        first = ("INTEGER", ROOT + ".1.5.3.2.1.1.1")
        with serving(start(own), agent_command(root, own), *first):
            objects = walk(own)[0]
            columns = 5
            rows = -(-objects // columns)
            with serving(start(peer), ["table_agent", peer.socket, str(rows), str(columns)], *first):
                times = measure({own: objects, peer: rows * columns})
    rate = {master: 1 / min(seconds) for master, seconds in times.items()}
    ratio = rate[own] / rate[peer]
    print(f"kvrn-agentd  {rate[own]:8.0f} objects a second ({objects} objects)")
    print(f"table helper {rate[peer]:8.0f} objects a second ({rows * columns} objects)")
    print(f"ratio {ratio:.2f} (at least {BOUND}) {'ok' if ratio >= BOUND else 'MISSED'}")
    sys.exit(0 if ratio >= BOUND else 1)


main()
