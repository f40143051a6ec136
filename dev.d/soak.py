# SPDX-License-Identifier: MIT
"""soak.py REQUESTS: queries kvrn-agentd from many clients while its master is restarted ten times. No answer may be
wrong. The agent's memory may hardly grow after the first tenth of the requests."""
import re
import subprocess
import sys
import tempfile
import time

from snmpd import Master, serving
from walk import PSU_COUNT, SIM, agent_command, make_device

RESTARTS = 10
CLIENTS = 20
GROWTH = 1.02


def memory(agent):
    with open(f"/proc/{agent.pid}/status", encoding="ascii") as file:
        return int(re.search(r"VmRSS:\s+(\d+) kB", file.read()).group(1))


def run(requests, folder, master, agent):
    first, restarts = None, 0
    client = subprocess.Popen(["snmp_client", master.address, folder + "/listing", str(requests), str(CLIENTS)],
                              stdout=subprocess.PIPE, text=True)
    for line in client.stdout:
        if not line.strip().isdigit():
            print(line, end="")
            continue
        done = int(line)
        if first is None and done >= requests // 10:
            first = memory(agent)
        if restarts < RESTARTS and done >= (restarts + 0.5) * requests / RESTARTS:
            master.kill()
            master.start()
            restarts += 1
            print(f"{done} requests, restart {restarts}, {memory(agent)} kB", flush=True)
    if client.wait() != 0:
        sys.exit("a wrong answer")
    text, oid = PSU_COUNT
    if master.wait_for(text, [oid], 5) is None:
        sys.exit("the agent did not come back")
    with open(folder + "/listing", encoding="ascii") as listing:
        if master.walk() != listing.read():
            sys.exit("the last walk is not complete")
    last = memory(agent)
    print(f"memory {first} kB after a tenth, {last} kB at the end: x {last / first:.3f} (at most {GROWTH})")
    return 0 if last <= first * GROWTH and restarts == RESTARTS else 1


def main():
    start = time.monotonic()
    with tempfile.TemporaryDirectory() as folder, Master() as master:
        root = make_device(folder)
        with open(folder + "/listing", "w", encoding="ascii") as listing:
            subprocess.run([*SIM, root, "--", "kvrnctl", "snmp", "dump"], stdout=listing, check=True)
        with serving(master.start(), agent_command(root, master, "--period", "0.5"), *PSU_COUNT) as agent:
            status = run(int(sys.argv[1]), folder, master, agent)
    print(f"{time.monotonic() - start:.0f} s")
    sys.exit(status)


main()
