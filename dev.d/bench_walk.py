# SPDX-License-Identifier: MIT
"""Objects a second of a bulk walk through snmpd: kvrn-agentd beside the least sub-agent that net-snmp's table helper
makes, with as many constants. Both stand behind a master of their own; they are walked in turns, and the fastest walks
count. Nearly all of the time is the kernel's and net-snmp's, the same for both: the master asks for one object at a
time."""
import os
import subprocess
import sys
import tempfile
import time

from snmpd import ROOT, Master, serving
from walk import agent_command, make_device

ROUNDS = 25
BOUND = 0.9  # threads that share a table of descriptors lock it, which is 2 %; the rest is a busy machine's clock


def start(master):
    master.start()
    while not os.path.exists(master.socket):  # the table helper's agent tries again after 15 s only
        time.sleep(0.1)
    time.sleep(0.5)
    return master


def walk(master):
    """The objects of a walk, and the seconds of the fastest of a few."""
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
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})  # one processor for all: who wakes whom where is chance
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
