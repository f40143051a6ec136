# SPDX-License-Identifier: MIT
"""What kvrn-agentd tells through a real snmpd to real snmptrapds: each change once, whatever is restarted."""
import contextlib
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import time
import unittest

from kvrn_agentd_test import SANITIZED, Agent, until
from kvrnctl_device import BIN, SOURCE, Device, new_folder
from snmpd import QUIET, ROOT, Alone, Master, free_port

os.environ["KVRN_BIN"] = BIN
import story  # noqa: E402  (it looks for the programs when it is loaded)

GOLDEN = pathlib.Path(SOURCE, "tests/golden/notifications_outage.txt")
COUNT = ROOT + ".1.5.3.1.0"
TRAPD = shutil.which("snmptrapd", path=os.environ["PATH"] + ":/usr/sbin:/sbin")
ENGINE = "0x8000000001020304"
USER = "-v 3 -u fleet -l authPriv -a SHA-256 -A auth-pass -x AES -X priv-pass"


class Sink:
    """A snmptrapd. `settings` are those of snmptrapd.conf."""

    def __init__(self, settings):
        self.port, folder = free_port(), new_folder()
        self.log = folder + "/log"
        os.makedirs(folder + "/persistent/cert_indexes")  # or it says that it makes them
        with open(folder + "/conf", "w") as file:
            file.write(settings)
        self.process = subprocess.Popen(
            [TRAPD, "-f", "-Lf", self.log, "-C", "-c", folder + "/conf", "-M", f"{SOURCE}/tests/mibs:{SOURCE}/mibs",
             "-m", "KVRN-Quorvex-MIB", "-OQS", "-F", "%V|%v\\n", f"udp:127.0.0.1:{self.port}"],
            env={**os.environ, **QUIET, "SNMP_PERSISTENT_DIR": folder + "/persistent"}, stdin=subprocess.DEVNULL)
        assert until(lambda: os.path.exists(self.log) and "NET-SNMP" in pathlib.Path(self.log).read_text(), 5)

    def told(self):
        """Of each notification two lines: its name with the text, and the other variables."""
        lines = []
        for line in pathlib.Path(self.log).read_text().splitlines():
            if "KVRN-Quorvex-MIB::" not in line:
                continue  # of snmpd itself
            words = [word.split("::", 1)[-1] for word in line.split("|")[1:]]
            name, text = line.split("|")[1].split("::")[-1], words[-1].removeprefix("kvrnNotificationText.0 = ")
            lines += [f"{name}: {text}", "   " + "".join(f" {word.replace(' = ', '=')};" for word in words[1:-1])]
        return lines


@unittest.skipUnless(TRAPD, "snmptrapd is not installed")
class Telling(unittest.TestCase):
    def setUp(self):
        self.sinks = [Sink("authCommunity log kvrn\n"),
                      Sink(f"exactEngineID {ENGINE}\ncreateUser fleet SHA-256 auth-pass AES priv-pass\nauthUser log fleet\n")]
        for sink in self.sinks:
            self.addCleanup(sink.process.wait)
            self.addCleanup(sink.process.kill)
        silent = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(silent.close)
        silent.bind(("127.0.0.1", 0))
        first, second, none = *(sink.port for sink in self.sinks), silent.getsockname()[1]
        self.to_sinks = (f"trap2sink 127.0.0.1:{first} kvrn\ninformsink 127.0.0.1:{none} kvrn\n"
                         f"trapsess -Ci -e {ENGINE} {USER} 127.0.0.1:{second}\n"
                         f"trapsess -Ci -e {ENGINE} {USER} 127.0.0.1:{none}\n")
        self.master = Master(self.to_sinks)
        self.addCleanup(self.master.__exit__)

    def agent(self, device=None, *words, server=None, **options):
        agent = Agent(server or self.master, device, words, **options)
        self.addCleanup(agent.__exit__)
        return agent

    def names(self):
        return [line.split(":")[0] for line in self.sinks[0].told()[::2]]

    def expect(self, lines):
        """Both sinks have these lines, and no more come."""
        for sink in self.sinks:
            until(lambda sink=sink: len(sink.told()) >= len(lines), 20)
            self.assertEqual(sink.told(), lines)

    def quiet(self, seconds):
        before = self.names()
        time.sleep(seconds)
        self.assertEqual(self.names(), before)

    @unittest.skipIf(SANITIZED, "needs the simulated device")
    def test_an_outage_and_restarts(self):
        *golden, last = GOLDEN.read_text().split("# ")[1:]
        board, steps = story.parse(f"{SOURCE}/tests/scenarios/outage.txt")
        device = story.Device(new_folder(), board, False)
        device.root = device.folder + "/device"
        monitor = device.monitor()
        self.addCleanup(monitor.communicate)
        self.addCleanup(monitor.terminate)
        self.master.start()
        state, agent, lines = new_folder() + "/state", None, []
        for step, part in zip(steps, golden, strict=True):
            if agent:  # it must not see half of a step
                agent.process.send_signal(signal.SIGSTOP)
            for words in step["changes"]:
                device.apply(words)
            time.sleep(3 * story.PERIOD)
            if agent:
                agent.process.send_signal(signal.SIGCONT)
            else:
                agent = self.agent(device, "--state", state)
                self.assertIsNotNone(self.master.wait_for("Gauge32: 3", [COUNT], 5))
            heading, *expected = part.splitlines()
            self.assertEqual(heading, step["text"])
            lines += expected
            self.expect(lines)
            self.assertIn("Gauge32: 3", self.master.ask("snmpget", COUNT, timeout=0.5))  # beside silent sinks
        self.quiet(2)
        agent.end()
        agent = self.agent(device, "--state", state, "--period", "2")
        self.assertIsNotNone(self.master.wait_for("Gauge32: 3", [COUNT], 5))
        self.master.kill()
        self.master.start()
        self.assertIsNotNone(self.master.wait_for("Gauge32: 3", [COUNT], 5))
        self.quiet(6)
        # One reading only.
        device.apply(["gpio", "211", "1"])
        self.assertIsNotNone(self.master.wait_for("INTEGER: 0", [ROOT + ".1.5.3.2.1.4.1"], 5))
        device.apply(["gpio", "211", "0"])
        self.assertIsNotNone(self.master.wait_for("INTEGER: 1", [ROOT + ".1.5.3.2.1.4.1"], 5))
        self.quiet(5)
        # Nobody is there to be told.
        self.master.kill()
        device.apply(["gpio", "211", "1"])
        time.sleep(7)
        self.master.start()
        self.expect(lines + last.splitlines()[1:])
        time.sleep(4)
        agent.process.kill()  # what was told is in the file by now
        self.agent(device, "--state", state)
        self.quiet(5)

    @unittest.skipIf(SANITIZED, "needs the simulated device")
    def test_a_limit_and_none(self):
        device = Device("four-source")
        for line in ("211", "212"):
            device.set("gpio", line, "1")
        self.master.start()
        silent = self.agent(device, "--notifications", "0")
        self.assertIsNotNone(self.master.wait_for("Gauge32: 4", [COUNT], 5))
        self.quiet(4)
        silent.end()
        agent = self.agent(device, "--notifications", "2")
        self.assertTrue(until(lambda: "too many notifications in a minute: the rest waits" in agent.lines(), 10))
        self.assertTrue(until(lambda: len(self.names()) == 2, 3))
        self.quiet(2)
        self.assertEqual(self.names(), ["kvrnMainsLost"] * 2)

    @unittest.skipIf(SANITIZED, "needs the simulated device")
    def test_without_a_master(self):
        device = Device("four-source")
        alone = Alone("rocommunity kvrn\n" + self.to_sinks)
        self.addCleanup(alone.__exit__)
        for line, name in ("1", "kvrnMainsLost"), ("0", "kvrnMainsBack"):
            device.set("gpio", "211", line)
            agent = self.agent(device, server=alone)
            self.assertTrue(until(lambda name=name: name in self.names(), 10))
            self.assertIn("Gauge32: 4", alone.ask("snmpget", COUNT, timeout=0.5))  # beside silent sinks
            agent.end()
        self.assertEqual(self.names().count("kvrnMainsLost"), 1)
        self.assertEqual(self.sinks[0].told(), self.sinks[1].told())

    def test_frozen_readings_and_a_file_that_cannot_be_kept(self):
        self.master.start()
        expected = []
        for folder, why, times in ((new_folder(), "damaged", 1), ("/dev/null", "Not a directory", 2)):
            if why == "damaged":
                pathlib.Path(folder, "told").write_text("kvrn-agentd: what was told, 1\nreadings-fr")
            agent = self.agent(None, "--state", folder, "--max-age", "2.5")
            for order, name in (("fail", "Frozen"), ("1", "Fresh"), ("fail", "Frozen")):
                agent.order(order)
                expected.append("kvrnReadings" + name)
                until(lambda: len(self.names()) >= len(expected), 12)
                self.assertEqual(self.names(), expected)
                time.sleep(2)
            agent.end()
            lost = [line.split(": ")[1] for line in agent.lines() if line.startswith(folder + "/told")]
            self.assertEqual(lost, [why] * times)  # when it is read, and when it is written
