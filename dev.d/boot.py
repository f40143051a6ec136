# SPDX-License-Identifier: MIT
"""Installed packages under a real service manager, with a simulated device: boot_round in boot.sh makes the root.

usage: boot.py FOLDER    FOLDER/root is the root; its folder /next has the packages of an upgrade. FOLDER/journal is written."""
import contextlib
import itertools
import json
import os
import pathlib
import signal
import sys
import threading
import time

import boot_device
from booted import Booted

MONITOR, AGENT, MASTER = "kvrn-monitord", "kvrn-agentd", "snmpd"
SERVICES = (MONITOR, AGENT, MASTER)
FILES = {  # a service that keeps a file: the file, and a word that is in it when the readings are complete
    "kvrn-sensors-json": ("/run/kvrn-sensors/sensors.json", '"voltage_mv": 25904'),
    "kvrn-sensors-nut": ("/run/kvrn-sensors-nut/kvrn.seq", "25.904"),
    "kvrn-sensors-prometheus": ("/var/lib/prometheus/node-exporter/kvrn.prom", " 25.904"),
}
IMAGES = ("/tmp/.psu_info_cache", "/tmp/.output_cache", "/tmp/.raw_battery_data")
TREE = ".1.3.6.1.4.1.47474"
COUNT = TREE + ".1.5.3.1.0"  # of power sources
USER = ["-v3", "-u", "fleet", "-l", "authPriv", "-a", "SHA-256", "-A", "auth-pass-phrase", "-x", "AES", "-X", "priv-pass-phrase"]
EXPOSURE = 2.0
# The manager's own limits, and a second for a loaded machine.
RESTART, STOP = 2 + 3, 5 + 1
MAX_AGE = 5  # the agent's --max-age here: the default would make the hang half a minute longer


class Root(Booted):
    """The booted root, with what the checks ask it."""

    def __init__(self, folder):
        super().__init__(str(folder / "root"), folder / "manager.log")
        self.passed = self.failed = 0
        self.right = None  # what the healthy device reads

    def shows(self, text, good, detail=""):
        self.passed, self.failed = self.passed + bool(good), self.failed + (not good)
        print(f"{'passed' if good else 'FAILED'}  {text}" + (f"\n        {str(detail)[-1500:]}" if not good and detail else ""), flush=True)

    def systemctl(self, *words, seconds=60):
        return self.run("systemctl", *words, seconds=seconds)

    def property(self, unit, name):
        return self.systemctl("show", "--value", f"--property={name}", unit).out.strip()

    def active(self, *units):
        return all(self.property(unit, "ActiveState") == "active" for unit in units)

    def journal(self, *words):
        return self.run("journalctl", "--boot", "--output=short-precise", *words).out

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
        done = self.run("kvrnctl", "psu", "--json", user="kvrn", env=boot_device.ENVIRONMENT, seconds=3)
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

    def __init__(self, root):
        self.root, self.sources, self.faults, self.ends = root, [], [], threading.Event()
        self.thread = threading.Thread(target=self.go_on)

    def go_on(self):
        while not self.ends.is_set():
            source, values = self.root.reading()
            self.sources.append(source)
            if values != self.root.right:
                self.faults.append((source, values))
            self.ends.wait(1)

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.ends.set()
        self.thread.join()

    def says(self):
        return f"{len(self.sources)} readings, {self.sources.count('direct')} of them direct"


def everything_starts_with_the_system(root):
    root.shows("after the boot all three services are active", root.active(*SERVICES), root.systemctl("status", *SERVICES).out)
    root.shows("an installation enables them", all(root.systemctl("is-enabled", unit).status == 0 for unit in SERVICES))
    source, root.right = root.reading()
    root.shows("the monitor publishes the readings", source == "cache" and root.right and root.right[3]["voltage_mv"] == 25904, root.reading())
    root.shows("the agent serves the tree over SNMPv3, with the installed sample of snmpd's settings",
               root.until(10, root.serves) is not None, root.journal("-t", AGENT, "-t", MASTER))
    walk = root.snmp("snmpbulkwalk", TREE).splitlines()
    root.shows(f"a walk has the tree: {len(walk)} objects", len(walk) > 50 and any(" 25904" in line for line in walk), "\n".join(walk[-5:]))
    root.shows("every file of the device can be opened", "denied" not in root.journal("-t", MONITOR, "-t", AGENT),
               root.journal("-t", MONITOR, "-t", AGENT))


def services_start_in_any_order(root):
    orders = list(itertools.permutations(SERVICES)) + [(unit,) for unit in SERVICES]
    for order in orders:
        root.systemctl("stop", *SERVICES)
        done = [root.systemctl("start", unit) for unit in order]
        good = all(start.status == 0 for start in done) and root.until(5, lambda: root.active(*order)) is not None
        if len(order) > 1:
            good = good and root.until(5, root.serves) is not None
        root.shows(f"start: {', '.join(order)}", good, root.systemctl("status", *order).out)
    root.systemctl("start", *SERVICES)


def services_have_no_rights_but_the_accounts(root):
    account, groups = root.run("id", "-u", "kvrn").out.strip(), set(root.run("id", "-G", "kvrn").out.split())
    for unit in (MONITOR, AGENT):
        status = dict(line.split(":\t", 1) for line in root.run("cat", f"/proc/{root.property(unit, 'MainPID')}/status").out.splitlines()
                      if ":\t" in line)
        seen = {name: status.get(name) for name in ("Uid", "Groups", "CapPrm", "CapEff", "CapBnd", "CapAmb", "NoNewPrivs", "Seccomp")}
        root.shows(f"{unit} is the user kvrn, has its groups, no capability, no way to new ones, and a filter of system calls",
                   status["Uid"].split() == [account] * 4 and set(status["Groups"].split()) == groups and len(groups) == 3
                   and all(int(status[name], 16) == 0 for name in ("CapPrm", "CapEff", "CapBnd", "CapAmb"))
                   and status["NoNewPrivs"] == "1" and status["Seccomp"] == "2", seen)


def files_have_owners_and_modes(root):
    wanted = {**dict.fromkeys(IMAGES, "kvrn:kvrn 640"), "/run/kvrn": "kvrn:kvrn 755", "/run/kvrn/monitord.pid": "kvrn:kvrn 600",
              "/var/lib/kvrn-agentd": "kvrn:kvrn 755", "/var/lib/kvrn-agentd/told": "kvrn:kvrn 640",
              "/var/agentx": "root:root 755", "/var/agentx/master": "Debian-snmp:kvrn 660"}
    found = {path: root.run("stat", "-c", "%U:%G %a", path).out.strip() for path in wanted}
    root.shows("the images and the services' files have their owners and modes", found == wanted,
               {path: seen for path, seen in found.items() if seen != wanted[path]})


def others_cannot_open_the_images(root):
    for image in IMAGES:
        ways = ("exec 3<", "exec 3>>", "exec 3<>")
        answers = [root.run("sh", "-c", f"{way} {image}", user="daemon") for way in ways]
        root.shows(f"an ordinary user can neither read nor write {image}",
                   all(done.status != 0 and "denied" in done.out for done in answers), [done.out for done in answers])


def the_rules_are_understood(root):
    """Newer versions have a command for this. Older ones name a rule that they do not understand when they read the rules."""
    file = "/usr/lib/udev/rules.d/60-kvrn.rules"
    done = root.run("udevadm", "verify", file)
    if "nknown command" in done.out or "nrecognized" in done.out:
        done = root.run("udevadm", "test", "/sys/class/mem/null")
        lines = [line for line in done.out.splitlines() if file.rpartition("/")[2] in line]
        root.shows("udev reads the rules and has nothing to say", len(lines) == 1 and lines[0].startswith("Reading"), lines or done.out)
    else:
        root.shows("udevadm verify has nothing to say about the rules", done.status == 0, done.out)


def the_agent_survives_its_master(root):
    pid = root.property(AGENT, "MainPID")
    root.systemctl("restart", MASTER)
    took = root.until(10, root.serves)
    root.shows(f"after a restart of snmpd the tree is back in {took or 0:.1f} s, and the agent is the same process",
               took is not None and root.property(AGENT, "MainPID") == pid, root.journal("-t", AGENT, "-n20"))


def killed_services_come_back(root):
    with Reader(root) as reader:
        for unit in (MONITOR, AGENT, MONITOR):
            before = root.property(unit, "NRestarts")
            root.systemctl("kill", "--signal=KILL", unit)
            took = root.restarted(unit, before, RESTART)
            back = root.until(RESTART, lambda: root.active(unit))
            root.shows(f"{unit} is started again {took or 0:.1f} s after SIGKILL", took is not None and back is not None,
                       root.systemctl("status", unit).out)
    root.shows(f"meanwhile no reading is missing or wrong ({reader.says()})", not reader.faults, reader.faults)


def hanging_hardware_restarts_services(root):
    before = {unit: root.property(unit, "NRestarts") for unit in (MONITOR, AGENT)}
    with boot_device.Hanging(root.root) as hardware:
        start = time.monotonic()
        # The watchdog's time, and a period. The agent leaves the image when it is 10 seconds old.
        for unit, seconds in ((MONITOR, 8 + 2), (AGENT, 10 + MAX_AGE + 10)):
            found = root.restarted(unit, before[unit], start + seconds + RESTART - time.monotonic())
            root.shows(f"{unit} is restarted by the watchdog when the hardware has been hanging for {time.monotonic() - start:.0f} s",
                       found is not None and "atchdog timeout" in root.journal("-u", unit), root.journal("-u", unit, "-n20"))
        root.shows("the agent has served nothing instead of old readings", "the tree is empty" in root.journal("-t", AGENT)
                   and not root.serves())
        hardware.give_back()
        took = root.until(10, root.published)
        root.shows(f"the readings are published again {took or 0:.1f} s after the hardware is back", took is not None, root.reading())
    took = root.until(10, root.serves)
    root.shows(f"the tree is back {took or 0:.1f} s after that", took is not None, root.journal("-t", AGENT, "-n20"))


def hanging_hardware_delays_no_stop(root):
    json_service = "kvrn-sensors-json"
    root.systemctl("start", json_service)
    with boot_device.Hanging(root.root) as hardware:
        time.sleep(3)  # a period of the monitor
        for unit in (MONITOR, AGENT, json_service):
            done = root.systemctl("stop", unit)
            root.shows(f"{unit} is stopped in {done.seconds:.1f} s while the hardware hangs",
                       done.seconds < STOP and root.property(unit, "MainPID") == "0", root.systemctl("status", unit).out)
            if unit == MONITOR:
                time.sleep(13)  # the others leave the image, and hang themselves
        hardware.give_back()
    root.systemctl("reset-failed")
    root.systemctl("start", *SERVICES)


def files_of_readings_are_kept(root):
    root.run("install", "-d", "-o", "kvrn", "-g", "kvrn", os.path.dirname(FILES["kvrn-sensors-prometheus"][0]))
    for unit, (file, word) in FILES.items():
        def kept():
            return word in root.run("cat", file).out
        root.shows(f"{unit} keeps its file", root.systemctl("start", unit).status == 0 and root.until(10, kept) is not None,
                   root.systemctl("status", unit).out + root.run("cat", file).out)
        owner = root.run("stat", "-c", "%U", file).out.strip()
        root.systemctl("stop", unit)
        root.shows(f"{unit} writes as kvrn, and its file ends with it", owner == "kvrn" and root.run("test", "-e", file).status == 1, owner)
        if unit == "kvrn-sensors-nut":
            continue  # its reader does not look at the age of a file, so there is no timer
        root.systemctl("start", f"{unit}.timer")
        root.shows(f"{unit}.timer has the file written", root.until(10, kept) is not None
                   and root.property(f"{unit}-once", "Result") == "success", root.systemctl("status", f"{unit}-once").out)
        root.systemctl("stop", f"{unit}.timer")


def exposure_is_small(root):
    for unit in (MONITOR, AGENT, *FILES, "kvrn-sensors-json-once", "kvrn-sensors-prometheus-once"):
        text = root.run("systemd-analyze", "security", "--no-pager", f"{unit}.service").out
        found = [line for line in text.splitlines() if "Overall exposure level" in line]
        level = float(found[0].rpartition(": ")[2].split()[0]) if found else 10
        root.shows(f"systemd-analyze security {unit}: {level}", level <= EXPOSURE,
                   "\n".join(line for line in text.splitlines() if line.startswith("✗")))


def an_upgrade_loses_no_reading(root):
    running = (MONITOR, AGENT, "kvrn-sensors-json")  # the last one is off until somebody starts it
    root.systemctl("start", *running)
    before = {unit: root.property(unit, "MainPID") for unit in running}
    with Reader(root) as reader:
        done = root.run("sh", "-c", "dpkg -i /next/*.deb", seconds=120)
        back = root.until(RESTART, lambda: root.active(*running))
        time.sleep(2)
    version = root.run("dpkg-query", "-W", "-f=${Version}", AGENT).out
    root.shows(f"dpkg -i brings {version}", done.status == 0 and version.endswith("+next"), done.out)
    root.shows("the upgrade restarts every service that runs", back is not None
               and all(root.property(unit, "MainPID") not in ("0", pid) for unit, pid in before.items()), f"{before}\n{done.out}")
    root.shows(f"during the upgrade no reading is missing or wrong ({reader.says()})", not reader.faults, reader.faults)
    root.shows("the tree is back", root.until(10, root.serves) is not None)


def nothing_is_left_failed(root):
    failed = root.systemctl("--failed", "--plain", "--no-legend").out
    root.shows("no unit of ours has failed", not any(name in failed for name in ("kvrn", "snmpd")), failed)
    root.shows("the system is running", root.systemctl("is-system-running").out.strip() == "running", failed)


def the_system_goes_down(root):
    root.run("sh", "-c", "systemctl poweroff")
    root.shows("the system goes down in time", root.wait_for_end(20))


CHECKS = (everything_starts_with_the_system, services_start_in_any_order, services_have_no_rights_but_the_accounts,
          files_have_owners_and_modes, others_cannot_open_the_images, the_rules_are_understood, the_agent_survives_its_master,
          killed_services_come_back, hanging_hardware_restarts_services, hanging_hardware_delays_no_stop, files_of_readings_are_kept,
          exposure_is_small, an_upgrade_loses_no_reading, nothing_is_left_failed, the_system_goes_down)


def prepare(root):
    """What an administrator does after the installation: the sample of snmpd's settings, a user, and options."""
    boot_device.lay(root)
    top = pathlib.Path(root)
    sample = (top / "usr/share/doc/kvrn-agentd/examples/snmpd.conf").read_text(encoding="utf-8")
    (top / "etc/snmp/snmpd.conf.d/kvrn.conf").write_text(sample, encoding="utf-8")
    with open(top / "var/lib/snmp/snmpd.conf", "a", encoding="utf-8") as file:
        file.write('createUser fleet SHA-256 "auth-pass-phrase" AES "priv-pass-phrase"\n')
    (top / "etc/default/kvrn-agentd").write_text(f'KVRN_AGENTD_OPTIONS="--max-age {MAX_AGE}"\n', encoding="utf-8")


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("ended by a signal"))
    folder = pathlib.Path(sys.argv[1])
    prepare(str(folder / "root"))
    with Root(folder) as root:
        print(root.run("systemctl", "--version").out.splitlines()[0], flush=True)
        for check in CHECKS:
            start = time.monotonic()
            if check is the_system_goes_down:
                (folder / "journal").write_text(root.journal(), encoding="utf-8")
            try:
                check(root)
            except Exception as error:  # a check that breaks must not hide the others
                root.shows(f"{check.__name__}: {type(error).__name__}: {error}", False)
            print(f"        ({check.__name__}: {time.monotonic() - start:.0f} s)", flush=True)
    print(f"{root.passed} passed, {root.failed} failed")
    sys.exit(1 if root.failed else 0)


main()
