# SPDX-License-Identifier: MIT
"""The booted root as the checks of boot.py see it: its units, its log, its tree, and the readings of its device."""
import json
import threading
import time

import boot_device
from booted import Booted

TREE = ".1.3.6.1.4.1.47474"
COUNT = TREE + ".1.5.3.1.0"  # of power sources
USER = ["-v3", "-u", "fleet", "-l", "authPriv", "-a", "SHA-256", "-A", "auth-pass-phrase", "-x", "AES",
        "-X", "priv-pass-phrase"]


class System(Booted):
    def __init__(self, folder):
        super().__init__(str(folder / "root"), folder / "manager.log")
        self.passed = self.failed = 0
        self.right = None  # what the healthy device reads

    def shows(self, text, good, *details):
        self.passed, self.failed = self.passed + bool(good), self.failed + (not good)
        print(f"{'passed' if good else 'FAILED'}  {text}", flush=True)
        if not good:
            for detail in details:
                print("        " + str(detail)[-1500:].replace("\n", "\n        "), flush=True)

    def systemctl(self, *words):
        return self.run("systemctl", *words)

    def property(self, unit, name):
        return self.systemctl("show", "--value", f"--property={name}", unit).out.strip()

    def properties(self, units, name):
        return {unit: self.property(unit, name) for unit in units}

    def active(self, *units):
        return all(self.property(unit, "ActiveState") == "active" for unit in units)

    def log(self, *units):
        """What the units and their manager said last."""
        return self.run("journalctl", "--boot", "-n100", *(f"-u{unit}" for unit in units)).out

    def until(self, seconds, good):
        """@return how many seconds it took until good() was true, None if it was not in time"""
        start = time.monotonic()
        while time.monotonic() - start < seconds:
            if good():
                return time.monotonic() - start
            time.sleep(0.1)
        return None

    def snmp(self, client, *oids):
        return self.run(client, *USER, "-r0", "-t1", "-On", "127.0.0.1", *oids).out

    def serves(self):
        return "Gauge32: 4" in self.snmp("snmpget", COUNT)

    def reading(self):
        """@return the source of a reading and its values, or the failure"""
        done = self.run("kvrnctl", "psu", "--json", user="kvrn", env=boot_device.environment(self.root), seconds=3)
        try:
            found = json.loads(done.out)
            return found["source"]["kind"], found["psu"]
        except (ValueError, KeyError):
            return f"status {done.status}: {done.out}", None

    def published(self):
        return self.reading() == ("cache", self.right)

    def restarted(self, unit, before, seconds):
        return self.until(seconds, lambda: self.property(unit, "NRestarts") != before)


class Reader:
    """Reads once a second, as a program on the device does, and remembers what was not the right reading."""

    def __init__(self, system):
        self.system, self.sources, self.faults, self.ends = system, [], [], threading.Event()
        self.thread = threading.Thread(target=self.go_on)

    def go_on(self):
        while not self.ends.is_set():
            source, values = self.system.reading()
            self.sources.append(source)
            if values != self.system.right:
                self.faults.append((source, values))
            self.ends.wait(1)

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.ends.set()
        self.thread.join()

    def tell(self, when):
        self.system.shows(f"{when} no reading is missing or wrong ({len(self.sources)} readings, "
                          f"{self.sources.count('direct')} of them direct)", self.sources and not self.faults, self.faults)
