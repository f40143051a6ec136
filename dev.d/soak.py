# SPDX-License-Identifier: MIT
"""soak.py WAY REQUESTS: queries kvrn-agentd from many clients. Its way of serving is "snmpd", and then this master is
restarted ten times, or "alone". No answer may be wrong, and alone none may be missing. The agent's memory may hardly grow
after the first tenth of the requests."""
import re
import subprocess
import sys
import tempfile
import time

from snmpd import ROOT, Alone, Master, serving
from walk import PSU_COUNT, SIM, agent_command, make_device

RESTARTS = 10
CLIENTS = 20
GROWTH = 1.02


def memory(agent):
    with open(f"/proc/{agent.pid}/status", encoding="ascii") as file:
        return int(re.search(r"VmRSS:\s+(\d+) kB", file.read()).group(1))


def walk(server):
    """What lies in the tree: with nothing behind it, snmpwalk says so in the last line."""
    return "".join(line for line in server.walk().splitlines(True) if "No more variables" not in line)


def run(requests, folder, server, agent):
    first, restarts = None, 0
    wanted = RESTARTS if isinstance(server, Master) else 0
    client = subprocess.Popen(["snmp_client", server.address, folder + "/listing", str(requests), str(CLIENTS)],
                              stdout=subprocess.PIPE, text=True)
    for line in client.stdout:
        if not line.strip().isdigit():
            print(line, end="")
            if not wanted and "tree absent 0, timeouts 0" not in line:
                sys.exit("an answer is missing")
            continue
        done = int(line)
        if first is None and done >= requests // 10:
            first = memory(agent)
        if restarts < wanted and done >= (restarts + 0.5) * requests / wanted:
            server.kill()
            server.start()
            restarts += 1
            print(f"{done} requests, restart {restarts}, {memory(agent)} kB", flush=True)
    if client.wait() != 0:
        sys.exit("a wrong answer")
    text, oid = PSU_COUNT
    if server.wait_for(text, [oid], 5) is None:
        sys.exit("the agent did not come back")
    with open(folder + "/listing", encoding="ascii") as listing:
        if walk(server) != listing.read():
            sys.exit("the last walk is not complete")
    last = memory(agent)
    print(f"memory {first} kB after a tenth, {last} kB at the end: x {last / first:.3f} (at most {GROWTH})")
    return 0 if last <= first * GROWTH and restarts == wanted else 1


def main():
    way, requests = sys.argv[1], int(sys.argv[2])
    # Alone, the clients see only the tree. So every answer belongs to it.
    servers = {"snmpd": Master, "alone": lambda: Alone(f"rocommunity kvrn 127.0.0.1 {ROOT}\n")}
    start = time.monotonic()
    with tempfile.TemporaryDirectory() as folder, servers[way]() as server:
        root = make_device(folder)
        with open(folder + "/listing", "w", encoding="ascii") as listing:
            subprocess.run([*SIM, root, "--", "kvrnctl", "snmp", "dump"], stdout=listing, check=True)
        if way == "snmpd":
            server.start()
        with serving(server, agent_command(root, server, "--period", "0.5"), *PSU_COUNT) as agent:
            status = run(requests, folder, server, agent)
    print(f"{way}: {time.monotonic() - start:.0f} s")
    sys.exit(status)


main()
