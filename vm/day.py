# SPDX-License-Identifier: MIT
"""A day of a device in short: start, an outage and its end, a killed monitor, a new snmpd, a full /tmp, a clock that
jumps. At each stage the whole tree is walked from outside, with SNMPv3, and must be what the device says of itself."""
import json
import os
import re
import shutil
import subprocess
import time

from snmpd import QUIET, ROOT
from story import parse

SCENARIO = "tests/scenarios/outage.txt"
USER = ["-v3", "-u", "viewer", "-l", "authPriv", "-a", "SHA", "-A", "a day in short", "-x", "DES", "-X", "read by no one"]
SETTINGS = """agentaddress udp:161
master agentx
agentXSocket /run/agentx
createUser viewer SHA "a day in short" DES "read by no one"
rouser viewer priv .1.3.6.1
"""
PERIOD = 2  # of the monitor


def prepare(machine):
    board, _ = parse(SCENARIO)
    machine.give("start", board)
    # An empty /tmp: what other programs write there comes after the start.
    shutil.rmtree(machine.share + "/start/tmp")
    serve(machine)


def serve(machine):
    """Has the machine's start run snmpd and the agent."""
    with open(machine.share + "/snmpd.conf", "w") as file:
        file.write(SETTINGS)


def walk(machine):
    done = subprocess.run(["snmpwalk", *USER, "-On", "-r3", "-t2", f"127.0.0.1:{machine.port}", ROOT], text=True,
                          capture_output=True, env={**os.environ, **QUIET}, timeout=120)
    return done.stdout


def device(machine, command):
    job = machine.run(f"kvrnctl {command}")
    return job.out


def until(condition, seconds, pause=0.5):
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value or time.monotonic() > end:
            return value
        time.sleep(pause)


def is_fresh(machine):
    try:
        source = json.loads(device(machine, "psu --json"))["source"]
    except (ValueError, KeyError):
        return False
    return source["kind"] == "cache" and source["fresh"]


def agrees(machine):
    """@return whether the tree from outside is what the device says of itself, and a difference"""
    seen = {}

    def same():
        seen["outside"], seen["inside"] = walk(machine), device(machine, "snmp dump")
        return seen["outside"] == seen["inside"] and len(seen["inside"].splitlines()) > 40

    if until(same, 20):
        return (True,)
    pairs = zip(seen["outside"].splitlines(), seen["inside"].splitlines())
    return False, next((f"{a} / {b}" for a, b in pairs if a != b), f"{len(seen['outside'])} bytes outside")


class Day:
    def __init__(self, machine, check):
        self.machine, self.check = machine, check

    def stage(self, name):
        """The monitor publishes, and inside and outside agree."""
        fresh = until(lambda: is_fresh(self.machine), 20)
        self.check(f"{name}: the monitor's readings are fresh", fresh)
        self.check(f"{name}: the tree, from outside, is what the device says", *agrees(self.machine))

    def start(self):
        uptime = until(lambda: is_fresh(self.machine) and self.machine.run("cat /proc/uptime").out.split()[0], 60)
        self.check(f"first readings {uptime} s after the kernel's start, by the monitor that init started", bool(uptime))
        self.stage("start")

    def outage(self):
        _, steps = parse(SCENARIO)
        for step in steps:
            for words in step["changes"]:
                self.machine.do(change(words))
            time.sleep(1.5 * PERIOD)
            seen = until(lambda step=step: self.read() == step["expect"], 15) and step["expect"] or self.read()
            self.check(f"outage: {step['text']}", seen == step["expect"], f"{seen} in place of {step['expect']}")
            self.stage("outage")

    def read(self):
        outputs, budget, state = (json.loads(device(self.machine, f"{name} --json")) for name in
                                  ("outputs", "budget", "state"))
        nut = device(self.machine, "sensors --format nut")
        return {"outputs": [output["state_code"] for output in outputs["outputs"]],
                "budget": [budget["budget"]["available_mw"]], "state": [state["state"]["code"]],
                "nut": re.search(r"^ups\.status: (.*)", nut + "\nups.status: none", re.M)[1].split()}

    def killed_monitor(self):
        before = self.machine.run("cat /run/kvrn/monitord.pid").out
        self.machine.run(f"kill -9 {before}")
        after = until(lambda: self.new_monitor(before), 20)
        self.check("the monitor was killed: init starts another", after)
        self.stage("killed monitor")
        # One that hangs: its image grows old, and is not served.
        pid = self.machine.run("cat /run/kvrn/monitord.pid").out
        self.machine.do(f"kill -STOP {pid}\nsleep 12\nlay-out line 212 1", 60)
        document = json.loads(device(self.machine, "psu --json"))
        self.check("the monitor hangs: readers go to the hardware", document["source"]["kind"] != "cache" and
                   document["psu"][1]["state"] == "no mains", document["source"])
        self.check("the monitor hangs: the tree, from outside, is what the device says", *agrees(self.machine))
        self.machine.run(f"lay-out line 212 0; kill -CONT {pid}")
        self.stage("hanging monitor goes on")

    def new_monitor(self, before):
        pid = self.machine.run("cat /run/kvrn/monitord.pid && kill -0 $(cat /run/kvrn/monitord.pid)")
        return pid.status == 0 and pid.out != before

    def new_master(self):
        pid = "cat /run/snmpd.pid\n"
        before = self.machine.do(pid)
        after = self.machine.do("kill $(cat /run/snmpd.pid)\nsleep 1\nsnmpd -Lf /run/snmpd.log -C -c /host/snmpd.conf "
                                "-p /run/snmpd.pid -I -smux\nsleep 1\n" + pid)
        self.check("snmpd was restarted", before != after, f"{before} {after}")
        self.stage("snmpd restarted")

    def full_tmp(self):
        # The monitor that init starts then finds no image and no room for one.
        fill = "dd if=/dev/zero of=/tmp/filler bs=4096 2>/dev/null || true\n"
        self.machine.do("kill -TSTP 1\nsleep 1\nkill -KILL $(cat /run/kvrn/monitord.pid)\nsleep 1\n"
                        f"rm /tmp/.psu_info_cache /tmp/.output_cache\n{fill}kill -CONT 1\nlay-out line 211 1")
        time.sleep(2 * PERIOD)
        document = json.loads(device(self.machine, "psu --json"))
        self.check("/tmp is full: what changes is told", document["psu"][0]["state"] == "no mains", document["source"])
        self.check("/tmp is full: the tree, from outside, is what the device says", *agrees(self.machine))
        self.check("/tmp is full: readers go to the hardware", document["source"]["kind"] == "direct", document["source"])
        self.machine.do("rm /tmp/filler\nlay-out line 211 0")
        self.stage("/tmp has room")

    def clock(self):
        for hours in (1, -2):
            seconds = 3600 * hours
            self.machine.do(f"date -s @$(($(date +%s) + {seconds}))")
            time.sleep(2 * PERIOD)
            self.stage("the clock was set an hour forward" if hours > 0 else "the clock was set an hour back")


def change(words):
    kind, *rest = words
    if kind == "gpio":
        return f"lay-out line {rest[0]} {rest[1]}"
    if kind == "hwmon":
        return f"echo {rest[2]} >/var/run/hwmon/{rest[0]}/{rest[1]}"
    if kind == "file":
        return f"printf %s '{' '.join(rest[1:])}' >{rest[0]}"
    return f"rm -f {rest[0]}"


def run_day(machine, check):
    day = Day(machine, check)
    day.start()
    day.outage()
    day.killed_monitor()
    day.new_master()
    day.full_tmp()
    day.clock()
