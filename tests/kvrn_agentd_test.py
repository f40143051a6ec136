# SPDX-License-Identifier: MIT
"""kvrn-agentd under a real snmpd and without one: what it serves, and what it outlives."""
import glob
import os
import re
import resource
import shutil
import signal
import subprocess
import time
import unittest

from kvrnctl_device import BIN, LIB, SOURCE, Device, new_folder, service_manager
from snmpd import ROOT, Alone, Master, free_port

SANITIZED = os.environ["KVRN_SANITIZE"] != ""  # the simulated device cannot be preloaded then
COUNT = ROOT + ".1.5.3.1.0"
SYSTEM = ".1.3.6.1.2.1.1"
PASSPHRASES = "auth-pass-phrase", "priv-pass-phrase"
FLEET = {"account": ("-v3", "-u", "fleet", "-l", "authPriv", "-a", "SHA", "-A", PASSPHRASES[0], "-x", "AES", "-X", PASSPHRASES[1])}
CREATE = "createUser fleet SHA {} AES {}\n".format(*PASSPHRASES)
TRIAL = ROOT + ".1.0"


def until(holds, seconds):
    end = time.monotonic() + seconds
    while not holds() and time.monotonic() < end:
        time.sleep(0.05)
    return holds()


class Agent:
    """With a device: on it, with the library. Without: with the tests' own module, whose orders go through `order`."""

    def __init__(self, master, device=None, words=(), env=None, user=None):
        prefix = [BIN + "/kvrn-sim", "run", device.root, "--"] if device else []
        self.device, self.orders = device, new_folder() + "/order"
        folder = os.path.dirname(self.orders)
        os.chmod(folder, 0o755)
        os.mkfifo(folder + "/snmp.conf")  # reading it would take for ever
        quiet = {"MIBFILES": folder + "/snmp.conf", "SNMPCONFPATH": folder, "TRIAL_MODULE": self.orders}
        self.order("1")
        program, trial = BIN + "/kvrn-agentd", LIB + "/libtrial_module.so"
        if user:  # who may not enter the folder of this checkout
            os.chown(folder, user, -1)
            program, trial = (shutil.copy(file, folder) for file in (program, trial))
        usual = [part for option in (("--period", "0.2"), ("--state", folder + "/state"))
                 if option[0] not in [*words, *master.words] for part in option]
        module = [] if device else ["--module", trial]
        self.log = open(folder + "/log", "w+")
        self.process = subprocess.Popen(
            prefix + [program, *master.words, "--stderr", *module, *words, *usual],
            stderr=self.log, env={**os.environ, **quiet, **(env or {})}, user=user)

    def order(self, text):
        with open(self.orders + ".new", "w") as file:
            file.write(text)
        os.replace(self.orders + ".new", self.orders)

    def lines(self):
        self.log.seek(0)
        lines = [line.split(": ", 1)[1].rstrip() for line in self.log]
        lines = [line for line in lines if not line.startswith(("notification: ", "keeps root's rights"))]
        return [line for line in lines if self.device or "stand-in" not in line]  # this machine is no board

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.end()
        self.log.close()

    def end(self):
        self.process.terminate()
        return self.process.wait(timeout=20)


class Serving(unittest.TestCase):
    @unittest.skipIf(SANITIZED, "needs the simulated device")
    def test_walks_are_what_the_library_says(self):
        for board in ("four-source", "three-source"):
            device = Device(board)
            subprocess.run([BIN + "/kvrn-sim", "run", device.root, "--", BIN + "/kvrn-monitord", "--once", "--pid-file",
                            device.folder + "/pid"], check=True)
            expected = device.run("snmp", "dump").out
            with Master() as master, Agent(master.start(), device) as agent:
                self.assertIsNotNone(master.wait_for("Gauge32: ", [COUNT], 5))
                self.assertEqual(master.walk(), expected)
                self.assertEqual(master.walk("snmpbulkwalk"), expected)
                self.assertNotIn("stand-in", " ".join(agent.lines()))
                self.assertEqual(agent.end(), 0)
                self.assertIn("No Such Object", master.ask("snmpget", COUNT))
            os.remove(device.path("/dev/mtdblock5"))
            os.remove(device.path("/tmp/.output_cache"))
            os.symlink("nowhere", device.path("/tmp/.output_cache"))
            with Agent(master, device) as agent:
                why = {"/dev/mtdblock5: no such file or directory: the board may be a stand-in",
                       "/tmp/.output_cache: too many levels of symbolic links: what kvrn-monitord publishes cannot be used"}
                self.assertTrue(until(lambda: why <= set(agent.lines()), 3))

    def test_get_getnext_and_set_at_the_edges(self):
        with Master() as master, Agent(master.start()) as agent:
            self.assertIsNotNone(master.wait_for("INTEGER: 1", [TRIAL], 5))
            open_files = [os.path.realpath(fd) for fd in glob.glob(f"/proc/{agent.process.pid}/task/*/fd/*")]
            self.assertNotIn("/dev/zero", open_files)  # which a refresh held while the threads started
            for before in (ROOT, ROOT + ".0.4294967295", ROOT + ".1", ".1.3.6.1.4.1.47473"):
                self.assertEqual(master.ask("snmpgetnext", before), f"{TRIAL} = INTEGER: 1\n", before)
            for behind in (TRIAL, ROOT + ".1.0.0", ROOT + ".2", ROOT + ".4294967295" * 100):
                self.assertNotIn(ROOT, master.ask("snmpgetnext", behind).split("=")[0])
            for missing in (ROOT, ROOT + ".1", ROOT + ".1.0.0", ROOT + ".2"):
                self.assertIn("No Such Instance", master.ask("snmpget", missing), missing)
            self.assertIn("notWritable", master.ask("snmpset", TRIAL, "i", "2"))
            self.assertEqual(master.ask("snmpget", TRIAL, ROOT, TRIAL).count("INTEGER: 1"), 2)

    @unittest.skipIf(SANITIZED, "needs the simulated device")
    def test_a_refresh_in_the_middle_of_a_walk(self):
        device = Device("three-source")
        with Master() as master, Agent(master.start(), device):
            self.assertIsNotNone(master.wait_for("Gauge32: 3", [COUNT], 5))
            walked, at = [], ROOT
            while at.startswith(ROOT):
                at, value = master.ask("snmpgetnext", at).rstrip("\n").split(" = ")
                walked.append((at, value))
                if len(walked) == 20:
                    device.set("i2c", "2-58", "0x8b", "100")  # 40 V
                    self.assertIsNotNone(master.wait_for("INTEGER: 40000", [ROOT + ".1.5.3.2.1.5.1"], 5))
            arcs = [tuple(int(arc) for arc in oid.split(".")[1:]) for oid, _ in walked]
            self.assertEqual(arcs, sorted(set(arcs)))
            self.assertEqual(len(walked) - 1, device.run("snmp", "dump").out.count("\n"))


class Surviving(unittest.TestCase):
    def test_a_master_that_comes_late_and_again(self):
        with Master() as master, Agent(master) as agent:
            time.sleep(1.5)
            for _ in range(2):
                took = master.start().wait_for("INTEGER: 1", [TRIAL], 5)
                self.assertIsNotNone(took)
                self.assertLess(took, 2)
                time.sleep(0.5)
                master.kill()
                time.sleep(2.5)
            missing = f"no master agent at {master.socket}"
            self.assertEqual([line.split(": ")[0] for line in agent.lines()],
                             [missing, f"connected to the master agent at {master.socket}"] * 2 + [missing])
            self.assertEqual(agent.end(), 0)

    def test_a_second_agent_waits_for_the_end_of_the_first(self):
        with Master() as master, Agent(master.start()) as first:
            self.assertIsNotNone(master.wait_for("INTEGER: 1", [TRIAL], 5))
            with Agent(master) as second:
                second.order("2")
                refused = f"connected to the master agent at {master.socket}, refused: another sub-agent serves the tree"
                self.assertTrue(until(lambda: second.lines() == [refused], 5))
                self.assertIn("INTEGER: 1", master.ask("snmpget", TRIAL))
                first.end()
                self.assertIsNotNone(master.wait_for("INTEGER: 2", [TRIAL], 3))
                self.assertTrue(until(lambda: second.lines() == [refused, refused.split(",")[0]], 2))

    def test_failed_refreshes_leave_the_last_table_for_a_while(self):
        with Master() as master, Agent(master.start(), words=["--max-age", "2.5"]) as agent:
            self.assertIsNotNone(master.wait_for("INTEGER: 1", [TRIAL], 5))
            agent.order("fail")
            time.sleep(1)
            self.assertIn("INTEGER: 1", master.ask("snmpget", TRIAL))
            self.assertIsNotNone(master.wait_for("No Such", [TRIAL], 4))
            time.sleep(1.2)
            agent.order("3")
            self.assertIsNotNone(master.wait_for("INTEGER: 3", [TRIAL], 3))
            time.sleep(1.2)
            told = [line for line in agent.lines() if "master" not in line]
            self.assertEqual(told[:2], ["the module's update failed (5): sensor 7 is on fire",
                                        "no complete readings for 2.5 s: the tree is empty"])
            self.assertEqual(set(told[2:]), {"the readings are complete again", "the tree is served again"})

    @unittest.skipIf(SANITIZED, "needs a bound on the memory")
    def test_a_refresh_without_memory_is_one_that_failed(self):
        with Master() as master, Agent(master.start()) as agent:
            self.assertIsNotNone(master.wait_for("INTEGER: 1", [TRIAL], 5))
            resource.prlimit(agent.process.pid, resource.RLIMIT_AS, (3 << 30, 3 << 30))
            agent.order("huge")
            self.assertTrue(until(lambda: agent.lines()[-1:] == ["the module's update failed (3): no memory"], 3))
            agent.process.send_signal(signal.SIGHUP)
            agent.order("2")
            self.assertIsNotNone(master.wait_for("INTEGER: 2", [TRIAL], 3))

    def test_neither_hardware_nor_a_master_that_hangs_holds_the_other(self):
        with service_manager(400000) as (manager, env), Master() as master:

            def heard(seconds):
                """What the manager hears from now on."""
                words, end = [], time.monotonic() + seconds
                manager.setblocking(False)
                while time.monotonic() < end:
                    try:
                        words.append(manager.recv(100).decode())
                    except BlockingIOError:
                        time.sleep(0.05)
                return words

            with Agent(master.start(), words=["--max-age", "2.5"], env=env) as agent:
                self.assertIsNotNone(master.wait_for("INTEGER: 1", [TRIAL], 5))
                self.assertIn("READY=1", heard(0.5))
                master.process.send_signal(signal.SIGSTOP)
                self.assertGreater(heard(2).count("WATCHDOG=1"), 5)
                master.process.send_signal(signal.SIGCONT)
                self.assertIsNotNone(master.wait_for("INTEGER: 1", [TRIAL], 15))
                agent.order("hang")
                time.sleep(1)
                self.assertIn("INTEGER: 1", master.ask("snmpget", TRIAL))
                self.assertIsNotNone(master.wait_for("No Such", [TRIAL], 5))
                heard(1)
                self.assertEqual(heard(1), [])  # the manager is to restart it
                self.assertIn("no complete readings for 2.5 s: the tree is empty", agent.lines())
                master.process.send_signal(signal.SIGSTOP)
                start = time.monotonic()
                self.assertEqual(agent.end(), 0)
                self.assertLess(time.monotonic() - start, 5)

    @unittest.skipUnless(os.geteuid() == 0, "needs root, to be another user")
    def test_without_root(self):
        with Master("agentXPerms 0660 0755 root nogroup\n") as master, Agent(master.start(), user=65534) as agent:
            self.assertIsNone(master.wait_for("INTEGER: 1", [TRIAL], 2))
            self.assertEqual(agent.lines()[-1], f"no master agent at {master.socket}: permission denied")
            os.chown(master.socket, 65534, 0)
            self.assertIsNotNone(master.wait_for("INTEGER: 1", [TRIAL], 3))
            if SANITIZED:  # the check for leaks wants a thread too
                return
            alone = subprocess.run(["prlimit", "--nproc=0", *agent.process.args], stderr=agent.log, user=65534)
            self.assertEqual((alone.returncode, agent.lines()[-1]),
                             (1, "cannot go on: Resource temporarily unavailable"))


class WithoutMaster(unittest.TestCase):
    def keys(self, alone, text=None):
        """The file with the users' keys, or writes it."""
        path = alone.state + "/kvrn-agentd.conf"
        if text:
            os.makedirs(alone.state, exist_ok=True)
        with open(path, "w" if text else "r") as file:
            return file.write(text) if text else file.read()

    def boots(self, alone):
        """The number of starts that the engine tells."""
        told = alone.ask("snmpget", SYSTEM + ".3.0", options=["-Dlcd_set_enginetime"], **FLEET)
        return int(re.findall(r"boots=(\d+)", told)[-1])

    @unittest.skipIf(SANITIZED, "needs the simulated device")
    def test_what_the_example_lets_a_user_see(self):
        device = Device("four-source")
        subprocess.run([BIN + "/kvrn-sim", "run", device.root, "--", BIN + "/kvrn-monitord", "--once", "--pid-file",
                        device.folder + "/pid"], check=True)
        expected = device.run("snmp", "dump").out
        with open(SOURCE + "/examples/agentd.conf") as example, Alone(example.read() + "sysLocation Hall 3\n") as alone:
            self.keys(alone, CREATE)
            with Agent(alone, device) as agent:
                self.assertIsNotNone(alone.wait_for("Gauge32: 4", [COUNT], 5, **FLEET))
                self.assertEqual(alone.walk("snmpbulkwalk", **FLEET)[:len(expected)], expected)
                for oid, answer in ((SYSTEM + ".2.0", "OID: .1.3.6.1.4.1.8072.3.2.10"), (SYSTEM + ".3.0", "Timeticks: ("),
                                    (SYSTEM + ".5.0", f'"{os.uname().nodename}"'), (SYSTEM + ".6.0", '"Hall 3"'),
                                    (SYSTEM + "1.1.0", "Counter32: "), (SYSTEM + "1.7.0", "No Such"),
                                    (".1.3.6.1.6.3.15.1.2.1.0", "No Such Object")):
                    self.assertIn(answer, alone.ask("snmpget", oid, **FLEET))
                self.assertIn("noAccess", alone.ask("snmpset", COUNT, "i", "2", **FLEET))
                self.assertIn("authorizationError", alone.ask("snmpget", COUNT, account=("-v3", "-u", "fleet", "-l", "noAuth")))
                for community in ("public", "kvrn"):
                    self.assertIn("Timeout", alone.ask("snmpget", COUNT, timeout=0.3, account=("-v2c", "-c", community)))
                self.assertNotIn("pass-phrase", self.keys(alone))
                first = self.boots(alone)
                self.assertEqual((agent.lines(), agent.end()), ([f"listening at udp:{alone.address}"], 0))
            with Agent(alone, device) as agent:
                self.assertIsNotNone(alone.wait_for("Gauge32: 4", [COUNT], 5, **FLEET))
                self.assertEqual(self.boots(alone), first + 1)
                agent.process.kill()

    def test_nobody_and_wrong_lines(self):
        with Alone("rouser ghost priv\nnonsense 1\nview\nagentaddress udp:127.0.0.1:1\n") as alone, Agent(alone) as agent:
            self.assertTrue(until(lambda: len(agent.lines()) == 4, 3))
            self.assertIn("Unknown user name", alone.ask("snmpget", TRIAL, **FLEET))
            for _ in range(5):
                alone.ask("snmpget", TRIAL, timeout=0.02)
            lines = agent.lines()
            self.assertEqual(lines[2:], [f"{alone.config} gives rights to no community and to no user that exists: nothing is "
                                         "answered", f"listening at udp:{alone.address}"])
            for line, wrong in zip(sorted(lines[:2]), ("line 2: Warning: Unknown token: nonsense.", "line 3: Error: ")):
                self.assertIn(f"net-snmp: {alone.config}: {wrong}", line)
            with open(f"/proc/{agent.process.pid}/net/udp") as sockets:
                self.assertNotIn("0100007F:0001", sockets.read())

    def test_an_address_that_is_taken_or_not_there(self):
        with Alone() as alone, Agent(alone) as first:
            self.assertIsNotNone(alone.wait_for("INTEGER: 1", [TRIAL], 5))
            with Agent(alone) as second:
                second.order("2")
                taken = f"cannot listen at udp:{alone.address}: Address already in use; tried again every second"
                self.assertTrue(until(lambda: second.lines() == [taken], 3))
                self.assertEqual(first.end(), 0)
                self.assertIsNotNone(alone.wait_for("INTEGER: 2", [TRIAL], 3))
                self.assertEqual(second.lines(), [taken, f"listening at udp:{alone.address}"])
            alone.words[1] = "udp:192.0.2.1:" + alone.address.split(":")[1]
            with Agent(alone) as agent:
                time.sleep(1.5)
                self.assertEqual(agent.lines(), [f"cannot listen at {alone.words[1]}: Cannot assign requested address; tried "
                                                 "again every second"])
                self.assertEqual(agent.end(), 0)

    @unittest.skipUnless(os.geteuid() == 0, "needs root, to be another user")
    def test_rights_are_dropped(self):
        with Alone(CREATE + "rouser fleet\n") as alone:
            for starts in (1, 2):
                with Agent(alone, words=["--user", "nobody"]) as agent:
                    self.assertIsNotNone(alone.wait_for("INTEGER: 1", [TRIAL], 5, **FLEET))
                    with open(f"/proc/{agent.process.pid}/status") as status:
                        self.assertRegex(status.read(), r"Uid:(\t65534){4}\nGid:(\t65534){4}\n(.*\n)*CapEff:\t0+\n")
                    self.assertEqual(self.boots(alone), starts)
            with Agent(alone, user=65534, words=["--user", "root"]) as agent:
                self.assertEqual(agent.process.wait(timeout=5), 1)
                self.assertIn("cannot go on: ", agent.lines()[-1])


class Starting(unittest.TestCase):
    def run_agent(self, *words):
        done = subprocess.run([BIN + "/kvrn-agentd", *words], capture_output=True, text=True, timeout=20)
        return done.returncode, done.stderr

    def test_modules_of_another_shape(self):
        for module, why in (("/nowhere.so", "cannot open shared object file"), ("libm.so.6", "is no module"),
                            (LIB + "/libtrial_size_module.so", "another shape: its descriptor has another size"),
                            (LIB + "/libtrial_word_module.so", "another shape: words that are always zero are not")):
            status, error = self.run_agent("--module", module)
            self.assertEqual(status, 1)
            self.assertIn(why, error)
        with open("/dev/full", "w") as full:
            self.assertEqual(subprocess.run([BIN + "/kvrn-agentd", "--module", "/nowhere.so"], stderr=full).returncode, 1)

    def test_wrong_usage(self):
        for words in (["--period", "0"], ["--period", "nan"], ["--max-age", "inf"], ["--nonsense"], ["--period", "29"],
                      ["--agentx-socket", ""], ["--agentx-socket", "/" + 107 * "x"], ["--user", "nobody"],
                      ["--listen", "udp:127.0.0.1:9", "--agentx-socket", "/x"], ["--listen", "udp:127.0.0.1:9", "--config", "a,b"],
                      *(["--listen", address] for address in ("", "161", "udp:161", "udp:127.0.0.1", "udp:127.0.0.1:0", "udp::161",
                                                              "udp:localhost:161", "udp:127.0.0.1:99999", "udp6:::1:161", "tcp:127.0.0.1:161"))):
            self.assertEqual(self.run_agent(*words)[0], 2)

    def test_without_what_listening_needs(self):
        folder = new_folder()
        with open(folder + "/empty", "w"):
            pass
        for words, why in (({"config": folder + "/none"}, folder + "/none: No such file or directory"),
                           ({"config": folder}, folder + ": is no file"),
                           ({"state": folder + "/none/state"}, folder + "/none/state: No such file or directory"),
                           ({"state": folder + "/empty"}, folder + "/empty: Not a directory"),
                           ({"user": "nobody-here"}, "the system has no user 'nobody-here'")):
            words = {"config": folder + "/empty", "state": folder + "/state", **words}
            status, error = self.run_agent("--module", LIB + "/libtrial_module.so", "--listen", f"udp:127.0.0.1:{free_port()}",
                                           "--stderr", *(word for name, value in words.items() for word in ("--" + name, value)))
            self.assertEqual((status, error.splitlines()[-1].split(": ", 1)[1]), (1, "cannot go on: " + why))
