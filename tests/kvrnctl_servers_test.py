# SPDX-License-Identifier: MIT
"""kvrnctl sensors and events with the servers that carry them on: NUT and an MQTT broker."""
import getpass
import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import time
import unittest

import story
from kvrnctl_device import BIN, SOURCE, Device, new_folder
from snmpd import free_port

BOARD, STEPS = story.parse(SOURCE + "/tests/scenarios/outage.txt")


def program(name):
    # Debian's upsd and upsmon in the path are scripts that may refuse to start them.
    return shutil.which(name, path="/lib/nut:" + os.environ["PATH"] + ":/usr/sbin:/sbin")


def needs(package, *names):
    return unittest.skipUnless(all(map(program, names)), f"NOT TESTED: what needs Debian's package {package}")


class Servers(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(new_folder())
        self.device = Device(BOARD)

    def wait(self, condition, what):
        end = time.monotonic() + 40
        while not condition():
            self.assertLess(time.monotonic(), end, what)
            time.sleep(0.1)

    def start(self, *words, log="log", **options):
        with open(self.folder / log, "a", encoding="utf-8") as out:
            process = subprocess.Popen(words, **{"stdin": subprocess.DEVNULL, "stdout": out, "stderr": out, **options})
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def said(self, log="log"):
        return (self.folder / log).read_text(encoding="utf-8")

    def play(self, step):
        for words in step["changes"]:
            self.device.sim(*story.change(words, self.device.root))


@needs("nut-server", "upsd", "dummy-ups")
@needs("nut-client", "upsmon", "upsc")
class Nut(Servers):
    def configure(self):
        """The files of docs/nut.md in a folder of their own, with other addresses and shorter times."""
        port, script = free_port(socket.SOCK_STREAM), self.folder / "note"
        script.write_text(f'#!/bin/sh\necho "${{NOTIFYTYPE:-the command}}" >>{self.folder}/notes\n')
        script.chmod(0o755)
        (self.folder / "notes").touch()
        page = pathlib.Path(SOURCE, "docs/nut.md").read_text(encoding="utf-8")
        for name, text in re.findall(r"^`/etc/nut/([\w.]+)`.*:\n\n<!-- text -->\n\n((?:    .*\n)+)", page, re.M):
            for old, new in (("LISTEN 192.*\n", ""), ("192.0.2.1:3493", f"127.0.0.1:{port}"), ("3493", str(port)),
                             ("/run/kvrn-sensors-nut", str(self.folder)), ("/sbin/shutdown -h \\+0", str(script)),
                             (r"((POLL\w+|HOSTSYNC|FINALDELAY)) \d+", r"\1 1")):
                text = re.sub(old, new, text)
            if name == "upsmon.conf":
                kinds = ("ONLINE", "ONBATT", "LOWBATT", "COMMBAD", "COMMOK", "NOCOMM", "SHUTDOWN")
                text += f"NOTIFYCMD {script}\n" + "".join(f"NOTIFYFLAG {kind} EXEC\n" for kind in kinds)
            (self.folder / name).write_text(text)
            (self.folder / name).chmod(0o640)
        os.environ.update({"NUT_CONFPATH": str(self.folder), "NUT_STATEPATH": str(self.folder),
                           "NUT_ALTPIDPATH": str(self.folder), "NUT_PIDPATH": str(self.folder)})
        return f"kvrn@127.0.0.1:{port}"

    def test_an_outage_shuts_machines_down_at_low_battery_and_not_before(self):
        ups, file = self.configure(), self.folder / "kvrn.seq"
        user = ["-F", "-u", getpass.getuser()]

        def ask(*words):
            return subprocess.run([program("upsc"), ups, *words], capture_output=True, text=True, timeout=20)

        self.start(BIN + "/kvrn-sim", "run", self.device.root, "--", BIN + "/kvrn-monitord", "--period", "0.3",
                   "--pid-file", str(self.folder / "monitor.pid"))
        writer = self.start(*self.device.command("sensors", "--format", "nut", "--every", "0.3", "--output", str(file)))
        self.wait(file.exists, "no file")
        driver = self.start(program("dummy-ups"), "-a", "kvrn", *user)
        self.start(program("upsd"), *user)
        self.wait(lambda: ask("ups.status").returncode == 0, "no answer from upsd")
        machine = self.start(program("upsmon"), "-F", "-p")
        for step in STEPS:
            self.play(step)
            status = " ".join(step["expect"]["nut"])
            self.wait(lambda: ask("ups.status").stdout == status + "\n", f"{step['text']}: not {status}")
            if status.startswith("OB"):
                self.wait(lambda: "ONBATT" in self.said("notes"), "upsmon does not see OB")
            if "LB" in status:
                self.assertEqual(machine.wait(timeout=40), 0)
            self.assertEqual("the command" in self.said("notes"), machine.poll() is not None, step["text"])
            self.assertEqual("LB" in status or step is STEPS[-1], machine.poll() is not None, step["text"])
        self.assertEqual(self.said("notes").split("\n"), ["ONBATT", "LOWBATT", "SHUTDOWN", "the command", ""])
        seen = dict(line.split(": ", 1) for line in ask().stdout.splitlines())
        self.assertEqual([seen.get(name) for name in ("battery.charge", "outlet.1.status", "device.mfr", "ups.alarm")],
                         ["15", "on", None, None])
        writer.terminate()
        self.assertEqual(writer.wait(timeout=20), 0)
        self.assertEqual(driver.wait(timeout=20), 1)
        self.assertIn("Driver not connected", ask("ups.status").stderr)
        self.assertNotIn("kvrnctl", self.said())


@needs("mosquitto", "mosquitto")
@needs("mosquitto-clients", "mosquitto_pub", "mosquitto_sub")
class Mqtt(Servers):
    def broker(self):
        self.starts = self.starts + 1
        process = self.start(program("mosquitto"), "-v", "-p", self.port, log="broker")
        self.wait(lambda: self.said("broker").count(" running\n") == self.starts, "no broker")
        return process

    def expect(self, step, old=0):
        """Plays a failure of the mains. Its documents come once, and of changes before it only the reverse ones, if any."""
        failed = {("psu.1.state", "mains on", "no mains"), ("state.code", 11, 7), ("alarms.ac-outage.value", 0, 1)}

        def seen():
            events = [json.loads(line)["event"] for line in self.said("events").splitlines()[old:]]
            return [(event["subject"], event["from"], event["to"]) for event in events]

        self.play(step)
        self.wait(lambda: failed <= set(seen()), "no events")
        self.assertLessEqual(set(seen()) - failed, {(subject, now, before) for subject, before, now in failed if old})
        self.assertEqual(len(seen()), len(set(seen())))
        return len(seen())

    def test_changes_reach_a_subscriber_and_outlive_the_broker(self):
        self.port, self.starts = str(free_port(socket.SOCK_STREAM)), 0
        where = ["-h", "127.0.0.1", "-p", self.port]
        page = pathlib.Path(SOURCE, "docs/fleet.md").read_text(encoding="utf-8")
        line = re.search(r"^    kvrnctl (events .*) \| mosquitto_pub (.*) -h BROKER\n", page, re.M)
        broker = self.broker()
        self.start(program("mosquitto_sub"), *where, "-t", "#", "-i", "reader", log="events")
        events = self.start(*self.device.command(*line[1].split(), "--every", "0.2", "-v"), log="kvrnctl", stdout=subprocess.PIPE)
        publisher = self.start(program("mosquitto_pub"), *line[2].split(), *where, "-i", "writer", stdin=events.stdout)
        events.stdout.close()

        def connected():
            told = self.said("broker").split("running")[-1]
            return all(f"Sending CONNACK to {name}" in told for name in ("reader", "writer")) and "SUBACK" in told

        def seconds():
            ticks = [pathlib.Path(f"/proc/{process.pid}/stat").read_text().split()[13:15] for process in (events, publisher)]
            return sum(int(tick) for two in ticks for tick in two) / os.sysconf("SC_CLK_TCK")

        self.wait(lambda: connected() and "now on" in self.said("kvrnctl"), "no connections")
        told = self.expect(STEPS[1])
        broker.terminate()
        broker.wait(timeout=20)
        before = seconds()
        self.play(STEPS[-1])  # mosquitto_pub discards or keeps these changes, depending on its version
        time.sleep(3)
        self.assertLess(seconds() - before, 1.5)
        self.broker()
        self.wait(connected, "they do not connect again")
        self.expect(STEPS[1], told)
        publisher.kill()
        self.assertEqual(events.wait(timeout=20), 0)
        self.assertNotIn("pipe", self.said("kvrnctl"))
        self.assertEqual(self.said(), "")
