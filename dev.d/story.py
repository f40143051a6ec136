# SPDX-License-Identifier: MIT
"""Plays a scenario on a simulated device. The monitor publishes readings, and two readers read them. At every step,
both readers must report what the scenario expects.

usage: story.py SCENARIO [--show]"""
import json
import os
import re
import shlex
import subprocess
import sys
import tempfile
import time

BIN = os.environ.get("KVRN_BIN", ".")
os.environ["PATH"] = BIN + ":" + os.environ["PATH"]
PERIOD = 0.3


def parse(path):
    board, steps = None, []
    with open(path, encoding="utf-8") as lines:
        for number, line in enumerate(lines, 1):
            words = shlex.split(line, comments=True)
            if not words:
                continue
            if words[0] == "board":
                board = words[1]
            elif words[0] == "step":
                steps.append({"text": line.split(None, 1)[1].strip(), "changes": [], "expect": {}})
            elif words[0] == "expect":
                steps[-1]["expect"][words[1]] = [int(word) if word.isdigit() else word for word in words[2:]]
            elif words[0] in ("gpio", "hwmon", "file", "unset"):
                steps[-1]["changes"].append(words)
            else:
                sys.exit(f"{path}:{number}: what is '{words[0]}'?")
    return board, steps


def change(words, device):
    """What makes this change with kvrn-sim."""
    if words[0] == "unset":
        return ["unset", device, words[1]]
    return ["set", device, *(["file", words[1], " ".join(words[2:])] if words[0] == "file" else words)]


class Device:
    """A simulated device in the folder `device`. Its programs are started in the folder above, as a user would do."""

    def __init__(self, folder, board, show):
        self.folder, self.show = folder, show
        if show:
            print(f"\n$ PATH={BIN}:$PATH")
        self.sim("new", "device", "--board", board)

    def sim(self, *words):
        self.say("kvrn-sim", *words)
        subprocess.run(["kvrn-sim", *words], check=True, cwd=self.folder)

    def say(self, *words, end=""):
        if self.show:
            print("$ " + shlex.join(words) + end, flush=True)

    def apply(self, words):
        self.sim(*change(words, "device"))

    def start(self, *words):
        return subprocess.Popen(["kvrn-sim", "run", "device", "--", *words], cwd=self.folder,
                                stdout=subprocess.PIPE, text=True)

    def monitor(self):
        words = ("kvrn-monitord", "--period", str(PERIOD), "--pid-file", "monitor.pid")
        self.say("kvrn-sim", "run", "device", "--", *words, end=" &")
        return self.start(*words)

    def watch(self):
        words = ("kvrnctl", "watch", "--count", "1")
        self.say("kvrn-sim", "run", "device", "--", *words)
        print(self.start(*words).communicate()[0].rstrip())


def read_twice(device):
    """Runs two readers at the same time and returns what each of them reports: outputs, budget, state, NUT's status."""
    commands = (("outputs", "--json"), ("budget", "--json"), ("state", "--json"), ("sensors", "--format", "nut"))
    readers = [[device.start("kvrnctl", *command) for command in commands] for _ in range(2)]
    seen = []
    for reader in readers:
        *documents, nut = (process.communicate()[0] for process in reader)
        outputs, budget, state = map(json.loads, documents)
        if outputs["source"]["kind"] != "cache" or not outputs["source"]["fresh"]:
            sys.exit(f"a reader does not read the cache: {outputs['source']}")
        seen.append({"outputs": [output["state_code"] for output in outputs["outputs"]],
                     "budget": [budget["budget"]["available_mw"]], "state": [state["state"]["code"]],
                     "nut": re.search(r"^ups\.status: (.*)", nut, re.M)[1].split()})
    return seen


def play(device, steps, show):
    failures = 0
    for step in steps:
        if show:
            print(f"\n-- {step['text']}\n")
        for words in step["changes"]:
            device.apply(words)
        time.sleep(3 * PERIOD)
        if show:
            device.watch()
        first, second = read_twice(device)
        for seen in (first, second):
            if seen != step["expect"]:
                failures += 1
                print(f"{step['text']}:\n  expected {step['expect']}\n  seen     {seen}")
    return failures


def main():
    board, steps = parse(sys.argv[1])
    show = "--show" in sys.argv
    with tempfile.TemporaryDirectory(prefix="kvrn-story-") as folder:
        device = Device(folder, board, show)
        monitor = device.monitor()
        try:
            failures = play(device, steps, show)
        finally:
            monitor.terminate()
            status = monitor.wait()
        if status != 0:
            sys.exit(f"the monitor ended with {status}")
    print(f"{len(steps)} steps, {failures} disagreements")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
