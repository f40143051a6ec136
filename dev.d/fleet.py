# SPDX-License-Identifier: MIT
"""Simulated devices, each with a monitor and an agent on a port of its own; snmp_exporter, Prometheus and Alertmanager
watch them. Then mains fails on one, the battery of another is pulled, and a third one dies: within 30 seconds Alertmanager
must have the alerts of these three, and no other.

usage: fleet.py NUMBER"""
import contextlib
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

import yaml

from exporters import FOLDER, documented_access, documented_user, fetch, server, suffix
from snmpd import free_port

# The rules in a faster time: a scrape every 2 seconds in place of 30, and what stood "at a full hour of 14 days" is what
# stood at a second of 10 minutes.
FASTER = (("for: 1m", "for: 4s"), ("for: 2m", "for: 8s"), ("[14d:1h]", "[10m:1s]"))
INTERVAL = "2s"
ALARM_WITHIN = 30
SCRAPES = 300
PERIOD_S = 30  # of a scrape in the real settings


class Device:
    def __init__(self, folder, number, profile):
        self.root, self.profile = f"{folder}/device{number}", profile
        self.address = f"127.0.0.1:{free_port()}"
        subprocess.run(["kvrn-sim", "new", self.root, "--board", profile], check=True)
        state = pathlib.Path(folder, f"state{number}")
        state.mkdir()
        (state / "kvrn-agentd.conf").write_text(documented_user(), encoding="utf-8")
        self.monitor = self.start("kvrn-monitord", "--pid-file", f"{folder}/monitor{number}.pid")
        self.agent = self.start("kvrn-agentd", "--listen", f"udp:{self.address}", "--config", f"{folder}/agentd.conf",
                                "--state", str(state))

    def start(self, *words):
        return subprocess.Popen(["kvrn-sim", "run", self.root, "--", *words], stderr=subprocess.DEVNULL)

    def set(self, *words):
        subprocess.run(["kvrn-sim", "set", self.root, *words], check=True)

    def stop(self, how=signal.SIGTERM):
        for process in (self.monitor, self.agent):
            process.send_signal(how)
        for process in (self.monitor, self.agent):
            process.wait()


def settings(folder, devices, exporter, alertmanager):
    """The documented settings of Prometheus, with these devices and servers, in the faster time."""
    found = yaml.safe_load((FOLDER / "prometheus.yml").read_text(encoding="utf-8"))
    found["global"] = {"scrape_interval": INTERVAL, "scrape_timeout": INTERVAL, "evaluation_interval": INTERVAL}
    found["rule_files"] = ["kvrn-snmp.rules.yml"]
    found["alerting"]["alertmanagers"][0]["static_configs"][0]["targets"] = [alertmanager]
    job = next(job for job in found["scrape_configs"] if job["job_name"] == "kvrn-snmp")
    job["static_configs"][0]["targets"] = [device.address for device in devices]
    job["relabel_configs"][-1]["replacement"] = exporter
    found["scrape_configs"] = [job]
    path = pathlib.Path(folder, "prometheus.yml")
    path.write_text(yaml.safe_dump(found), encoding="utf-8")
    rules = (FOLDER / "kvrn-snmp.rules.yml").read_text(encoding="utf-8")
    for slow, fast in FASTER:
        rules = rules.replace(slow, fast)
    pathlib.Path(folder, "kvrn-snmp.rules.yml").write_text(rules, encoding="utf-8")
    return path


def alerts(alertmanager):
    """What stands: (instance, alert, severity)."""
    return {(alert["labels"]["instance"], alert["labels"]["alertname"], alert["labels"]["severity"])
            for alert in json.loads(fetch(f"http://{alertmanager}/api/v2/alerts"))
            if alert["status"]["state"] != "resolved"}


def reached(prometheus):
    answer = json.loads(fetch(f"http://{prometheus}/api/v1/query?query=kvrnPsuCount"))
    return {row["metric"]["instance"] for row in answer["data"]["result"]}


def until(condition, seconds):
    start = time.monotonic()
    while not condition():
        if time.monotonic() - start > seconds:
            return None
        time.sleep(0.2)
    return time.monotonic() - start


def watch(devices, prometheus, alertmanager):
    took = until(lambda: len(reached(prometheus)) == len(devices), 60)
    if took is None:
        return [f"only {len(reached(prometheus))} of {len(devices)} devices are collected"]
    print(f"{len(devices)} devices are collected, after {took:.0f} s")
    time.sleep(15)  # longer than any alert of the rules waits
    if alerts(alertmanager):
        return [f"alerts of healthy devices: {sorted(alerts(alertmanager))}"]
    print("no alert of a healthy device")

    four, three, dying = (next(device for device in devices[place:] if device.profile == profile)
                          for place, profile in ((0, "four-source"), (0, "three-source"), (2, "four-source")))
    four.set("gpio", "211", "1")  # mains fails on the first input
    three.set("gpio", "100", "1")  # the battery is pulled
    dying.stop(signal.SIGKILL)
    wanted = {(four.address, "KvrnMainsLost", "warning"), (three.address, "KvrnBatteryMissing", "warning"),
              (dying.address, "KvrnUnreachable", "critical")}
    took = until(lambda: wanted <= alerts(alertmanager), ALARM_WITHIN)
    time.sleep(10)  # what else would be wrong comes with a delay, too
    for alert in sorted(alerts(alertmanager)):
        print("  " + " ".join(alert))
    found = alerts(alertmanager)
    if took is not None:
        print(f"the three alerts stood after {took:.0f} s")
    return [f"missing: {' '.join(one)}" for one in sorted(wanted - found)] + \
        [f"not expected: {' '.join(one)}" for one in sorted(found - wanted)] + \
        ([] if took is not None else [f"not within {ALARM_WITHIN} s"])


class Relay:
    """Stands between the exporter and an agent, and counts what passes."""

    def __init__(self, target):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.1", 0))
        self.address = f"127.0.0.1:{self.socket.getsockname()[1]}"
        host, port = target.split(":")
        self.target, self.packets, self.bytes = (host, int(port)), 0, 0
        threading.Thread(target=self.pass_on, daemon=True).start()

    def pass_on(self):
        client = None
        while True:
            data, sender = self.socket.recvfrom(65536)
            self.packets, self.bytes = self.packets + 1, self.bytes + len(data) + 28  # IP and UDP headers
            if sender != self.target:
                client = sender
            self.socket.sendto(data, client if sender == self.target else self.target)


def processor_s(pid):
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text(encoding="utf-8").rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def measure(device, exporter, exporter_pid):
    """What one scrape of one device costs."""
    relay = Relay(device.address)
    url = f"http://{exporter}/snmp?module=kvrn&auth=kvrn&target="
    samples = len(re.findall(r"(?m)^kvrn", fetch(url + relay.address)))
    print(f"\none scrape: {samples} samples, {relay.packets} packets, {relay.bytes} bytes", end="")
    before = processor_s(device.agent.pid), processor_s(exporter_pid)
    for _ in range(SCRAPES):
        fetch(url + device.address)
    agent, exporter_s = ((processor_s(pid) - start) / SCRAPES for pid, start in
                         zip((device.agent.pid, exporter_pid), before))
    print(f", {1e3 * agent:.2f} ms of processor time in the agent, {1e3 * exporter_s:.2f} ms in the exporter")
    rate = 10000 / PERIOD_S
    print(f"10,000 devices, one scrape each in {PERIOD_S} s: {rate * relay.packets:.0f} packets and "
          f"{rate * relay.bytes / 1e6:.1f} MB a second, {rate * exporter_s:.2f} processors for exporters, "
          f"{rate * samples:.0f} samples a second")


def main(number):
    profiles = subprocess.run(["kvrn-sim", "profiles"], check=True, capture_output=True, text=True).stdout.split()
    with contextlib.ExitStack() as cleaning:
        folder = cleaning.enter_context(tempfile.TemporaryDirectory(prefix="kvrn-fleet-"))
        access = documented_access().replace(documented_user(), "")
        pathlib.Path(folder, "agentd.conf").write_text(access, encoding="utf-8")
        devices = []
        for i in range(number):
            devices.append(Device(folder, i, profiles[i % len(profiles)]))
            cleaning.callback(devices[-1].stop)
        exporter, pid = cleaning.enter_context(
            server(folder, "prometheus-snmp-exporter", f"--config.file={FOLDER}/snmp{suffix()}.yml"))
        alertmanager, _ = cleaning.enter_context(
            server(folder, "prometheus-alertmanager", f"--config.file={FOLDER}/alertmanager.yml",
                   f"--storage.path={folder}/alerts", "--cluster.listen-address="))
        config = settings(folder, devices, exporter, alertmanager)
        prometheus, _ = cleaning.enter_context(
            server(folder, "prometheus", f"--config.file={config}", f"--storage.tsdb.path={folder}/series"))
        faults = watch(devices, prometheus, alertmanager)
        measure(devices[0], exporter, pid)
    if faults:
        sys.exit("\n".join(faults))
    print("the right alerts, and only those")


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("ended by a signal"))
    main(int(sys.argv[1]))
