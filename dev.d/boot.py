# SPDX-License-Identifier: MIT
"""Installed packages under a real service manager, with a simulated device: boot_round in boot.sh makes the root.

usage: boot.py FOLDER

FOLDER/root is the root; its folder /next has the packages of an upgrade. FOLDER/journal is what its log said."""
import itertools
import os
import pathlib
import signal
import sys
import time

import boot_device
from boot_system import TREE, Reader, System

MONITOR, AGENT, MASTER = "kvrn-monitord", "kvrn-agentd", "snmpd"
SERVICES = (MONITOR, AGENT, MASTER)
FILES = {  # a service that keeps a file: the file, and what is in it when the smart battery was read
    "kvrn-sensors-json": ("/run/kvrn-sensors/sensors.json", '"voltage_mv": 25904'),
    "kvrn-sensors-nut": ("/run/kvrn-sensors-nut/kvrn.seq", "battery.2.voltage: 25.904"),
    "kvrn-sensors-prometheus": ("/var/lib/prometheus/node-exporter/kvrn.prom", " 25.904"),
}
WITHOUT_TIMER = "kvrn-sensors-nut"
IMAGES = ("/tmp/.psu_info_cache", "/tmp/.output_cache", "/tmp/.raw_battery_data")
MODES = {
    **dict.fromkeys(IMAGES, "kvrn:kvrn 640"),
    "/run/kvrn": "kvrn:kvrn 755",
    "/run/kvrn/monitord.pid": "kvrn:kvrn 600",
    "/var/lib/kvrn-agentd": "kvrn:kvrn 755",
    "/var/lib/kvrn-agentd/told": "kvrn:kvrn 640",
    "/var/agentx": "root:root 710",
    "/var/agentx/master": "Debian-snmp:kvrn 660",
}
RULES = "/usr/lib/udev/rules.d/60-kvrn.rules"
EXPOSURE = 2.0
# Seconds. The units say 2 for a restart: with time for a loaded machine. A stop may take no more than this in all.
RESTART, STOP = 2 + 3, 5
MAX_AGE = 5  # the agent's --max-age here: with the default, hanging hardware would take half a minute more


def everything_starts_with_the_system(system):
    system.shows("after the boot all three services are active", system.active(*SERVICES), system.log(*SERVICES))
    system.shows("the installation enables them",
                 all(system.systemctl("is-enabled", unit).status == 0 for unit in SERVICES))
    source, system.right = system.reading()
    system.shows("the monitor publishes the readings",
                 source == "cache" and system.right and system.right[3]["voltage_mv"] == 25904, system.reading())
    system.shows("the agent serves the tree over SNMPv3, with the installed sample of snmpd's settings",
                 system.until(10, system.serves) is not None, system.log(AGENT, MASTER))
    walk = system.snmp("snmpbulkwalk", TREE).splitlines()
    system.shows(f"a walk has the tree: {len(walk)} objects",
                 len(walk) > 50 and any(" 25904" in line for line in walk), "\n".join(walk[-5:]))
    said = system.log(MONITOR, AGENT)
    system.shows("the account may open every file of the device", "denied" not in said, said)


def services_start_in_any_order(system):
    for order in [*itertools.permutations(SERVICES), *((unit,) for unit in SERVICES)]:
        system.systemctl("stop", *SERVICES)
        good = all(system.systemctl("start", unit).status == 0 for unit in order) and system.active(*order)
        if len(order) > 1:
            good = good and system.until(5, system.serves) is not None
        system.shows(f"start: {', '.join(order)}", good, system.log(*order))
    system.systemctl("start", *SERVICES)


def services_have_no_rights_but_the_accounts(system):
    account = system.run("id", "-u", "kvrn").out.strip()
    groups = set(system.run("id", "-G", "kvrn").out.split())
    for unit in (MONITOR, AGENT):
        lines = system.run("cat", f"/proc/{system.property(unit, 'MainPID')}/status").out.splitlines()
        seen = dict(line.split(":", 1) for line in lines)
        system.shows(f"{unit} is the user kvrn with its groups",
                     seen["Uid"].split() == [account] * 4 and set(seen["Groups"].split()) == groups and len(groups) == 3,
                     seen["Uid"], seen["Groups"])
        rights = {name: int(seen[name], 16) for name in ("CapPrm", "CapEff", "CapBnd", "CapAmb", "NoNewPrivs", "Seccomp")}
        system.shows(f"{unit} has no capability, cannot get one, and has a filter of system calls",
                     list(rights.values()) == [0, 0, 0, 0, 1, 2], rights)


def files_have_owners_and_modes(system):
    def wrong():
        found = {path: system.run("stat", "-c", "%U:%G %a", path).out.strip() for path in MODES}
        return {path: mode for path, mode in found.items() if mode != MODES[path]}
    # The agent makes its file when it has something to tell, after two readings.
    system.shows("the images and the services' files have their owners and modes",
                 system.until(10, lambda: not wrong()) is not None, wrong())


def others_cannot_open_the_images(system):
    for image in IMAGES:
        answers = [system.run("sh", "-c", f"{way} {image}", user="daemon") for way in ("exec 3<", "exec 3>>", "exec 3<>")]
        system.shows(f"an ordinary user can neither read nor write {image}",
                     all(done.status != 0 and "denied" in done.out for done in answers), [done.out for done in answers])


def the_rules_are_understood(system):
    """Newer versions have a command for this. Older ones name what they do not understand when they read the rules."""
    done = system.run("udevadm", "verify", RULES)
    if "nknown command" not in done.out:
        system.shows("udevadm verify has nothing to say about the rules", done.status == 0, done.out)
        return
    done = system.run("udevadm", "test", "/sys/class/mem/null")
    lines = [line for line in done.out.splitlines() if RULES in line]
    system.shows("udev reads the rules and has nothing to say", lines == ["Reading rules file: " + RULES], lines or done.out)


def the_agent_survives_its_master(system):
    pid = system.property(AGENT, "MainPID")
    system.systemctl("restart", MASTER)
    took = system.until(10, system.serves)
    system.shows(f"after a restart of snmpd the tree is back in {took or 0:.1f} s, from the same process",
                 took is not None and system.property(AGENT, "MainPID") == pid, system.log(AGENT))


def killed_services_come_back(system):
    with Reader(system) as reader:
        for unit in (MONITOR, AGENT, MONITOR):
            before = system.property(unit, "NRestarts")
            system.systemctl("kill", "--signal=KILL", unit)
            took = system.restarted(unit, before, RESTART)
            back = system.until(RESTART, lambda: system.active(unit))
            system.shows(f"{unit} is started again {took or 0:.1f} s after SIGKILL", took is not None and back is not None,
                         system.log(unit))
    reader.tell("meanwhile")


def hanging_hardware_restarts_services(system):
    before = system.properties((MONITOR, AGENT), "NRestarts")
    with boot_device.Hanging(system.root) as hardware:
        start = time.monotonic()
        # A period and the watchdog's time. The agent leaves the image when that is 10 seconds old.
        for unit, seconds in ((MONITOR, 2 + 8), (AGENT, 10 + MAX_AGE + 10)):
            found = system.restarted(unit, before[unit], start + seconds + RESTART - time.monotonic())
            system.shows(f"{unit} is restarted by the watchdog {time.monotonic() - start:.0f} s after the hardware hangs",
                         found is not None and "atchdog timeout" in system.log(unit), system.log(unit))
        system.shows("the agent has served nothing instead of old readings",
                     "the tree is empty" in system.log(AGENT) and not system.serves(), system.log(AGENT))
        hardware.give_back()
        took = system.until(10, system.published)
        system.shows(f"the readings are published again {took or 0:.1f} s after the hardware is back", took is not None,
                     system.reading(), system.log(MONITOR))
    took = system.until(10, system.serves)
    system.shows(f"the tree is back {took or 0:.1f} s after that", took is not None, system.log(AGENT))


def hanging_hardware_delays_no_stop(system):
    json_file = "kvrn-sensors-json"
    system.systemctl("start", json_file)
    with boot_device.Hanging(system.root):
        time.sleep(3)  # more than a period of the monitor
        for unit in (MONITOR, AGENT, json_file):
            done = system.systemctl("stop", unit)
            system.shows(f"{unit} is stopped in {done.seconds:.1f} s while the hardware hangs",
                         done.seconds < STOP and system.property(unit, "MainPID") == "0", system.log(unit))
            if unit == MONITOR:
                time.sleep(13)  # the others leave the image, and hang themselves
    system.systemctl("reset-failed")
    system.systemctl("start", *SERVICES)


def files_of_readings_are_kept(system):
    system.run("install", "-d", "-o", "kvrn", "-g", "kvrn", os.path.dirname(FILES["kvrn-sensors-prometheus"][0]))
    for unit, (file, word) in FILES.items():
        def kept():
            return word in system.run("cat", file).out
        started = system.systemctl("start", unit).status == 0
        system.shows(f"{unit} keeps its file", started and system.until(10, kept) is not None, system.log(unit))
        owner = system.run("stat", "-c", "%U", file).out.strip()
        system.systemctl("stop", unit)
        system.shows(f"{unit} writes as kvrn, and its file ends with it",
                     owner == "kvrn" and system.run("test", "-e", file).status == 1, owner)
        if unit == WITHOUT_TIMER:
            continue
        system.systemctl("start", f"{unit}.timer")
        system.shows(f"{unit}.timer has the file written",
                     system.until(10, kept) is not None and system.property(f"{unit}-once", "Result") == "success",
                     system.log(f"{unit}-once"))
        system.systemctl("stop", f"{unit}.timer")


def exposure_is_small(system):
    for unit in (MONITOR, AGENT, *FILES, *(f"{unit}-once" for unit in FILES if unit != WITHOUT_TIMER)):
        lines = system.run("systemd-analyze", "security", f"{unit}.service").out.splitlines()
        level = lines[-1].rpartition(": ")[2].split()[0]
        system.shows(f"systemd-analyze security {unit}: {level}", float(level) <= EXPOSURE,
                     *(line for line in lines if line.startswith("✗")))


def an_upgrade_loses_no_reading(system):
    running = (MONITOR, AGENT, "kvrn-sensors-json")  # the last one is off until somebody starts it
    system.systemctl("start", *running)
    before = system.properties(running, "MainPID")
    with Reader(system) as reader:
        done = system.run("sh", "-c", "dpkg -i /next/*.deb")
        back = system.until(RESTART, lambda: system.active(*running))
        time.sleep(2)
    version = system.run("dpkg-query", "-W", "-f=${Version}", AGENT).out
    system.shows(f"dpkg -i brings {version}", done.status == 0 and version.endswith("+next"), done.out)
    after = system.properties(running, "MainPID")
    system.shows("the upgrade restarts every service that runs",
                 back is not None and all(after[unit] not in ("0", before[unit]) for unit in running), before, after)
    reader.tell("during the upgrade")
    system.shows("the tree is back", system.until(10, system.serves) is not None, system.log(AGENT))


def a_removal_stops_the_services(system):
    running = (MONITOR, AGENT, "kvrn-sensors-json")
    done = system.run("dpkg", "--remove", MONITOR, AGENT, "kvrn-tools")
    pids = system.properties(running, "MainPID")
    system.shows("a removal stops the services", done.status == 0 and set(pids.values()) == {"0"}, pids, done.out)


def nothing_is_left_failed(system):
    state = system.systemctl("is-system-running").out.strip()
    system.shows("the system runs, and no unit has failed", state == "running", state, system.systemctl("--failed").out)


def the_system_goes_down(system):
    system.systemctl("poweroff")
    system.shows("the system goes down in time", system.wait_for_end(20))


CHECKS = (
    everything_starts_with_the_system,
    services_start_in_any_order,
    services_have_no_rights_but_the_accounts,
    files_have_owners_and_modes,
    others_cannot_open_the_images,
    the_rules_are_understood,
    the_agent_survives_its_master,
    killed_services_come_back,
    hanging_hardware_restarts_services,
    hanging_hardware_delays_no_stop,
    files_of_readings_are_kept,
    exposure_is_small,
    an_upgrade_loses_no_reading,
    a_removal_stops_the_services,
    nothing_is_left_failed,
    the_system_goes_down,
)


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
    with System(folder) as system:
        print(system.systemctl("--version").out.splitlines()[0], flush=True)
        for check in CHECKS:
            start = time.monotonic()
            if check is the_system_goes_down:
                (folder / "journal").write_text(system.run("journalctl", "--boot").out, encoding="utf-8")
            try:
                check(system)
            except Exception as error:  # a check that breaks must not hide the others
                system.shows(f"{check.__name__}: {type(error).__name__}: {error}", False)
            print(f"        ({check.__name__}: {time.monotonic() - start:.0f} s)", flush=True)
    print(f"{system.passed} passed, {system.failed} failed")
    sys.exit(1 if system.failed else 0)


main()
