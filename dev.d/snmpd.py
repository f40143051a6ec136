# SPDX-License-Identifier: MIT
"""A private agent on a free loopback port, and the clients that query it: snmpd as kvrn-agentd's master, or kvrn-agentd
without a master. No system service is involved."""
import contextlib
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time

ROOT = ".1.3.6.1.4.1.47474"
# The programs must use neither the settings nor the MIB modules of this machine.
QUIET = {"MIBS": "", "SNMPCONFPATH": "/nonexistent"}


def free_port(kind=socket.SOCK_DGRAM):
    with socket.socket(socket.AF_INET, kind) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


@contextlib.contextmanager
def serving(agent, program, text, oid):
    """Starts kvrn-agentd or another sub-agent, waits until the agent's answer for `oid` contains `text`, and ends it at the end."""
    process = subprocess.Popen(program)
    try:
        if agent.wait_for(text, [oid], 10) is None:
            sys.exit(f"no answer from {' '.join(program)}")
        yield process
    finally:
        process.terminate()
        process.wait()


def snmpd_program():
    return shutil.which("snmpd", path=os.environ["PATH"] + ":/usr/sbin:/sbin")


class Agent:
    """Where the clients ask. `words` are kvrn-agentd's options that make it answer there."""

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="kvrn-snmpd-")
        self.address = f"127.0.0.1:{free_port()}"
        os.chmod(self.folder, 0o755)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.folder, ignore_errors=True)

    def ask(self, client, *oids, options=("-On",), timeout=2, account=("-v2c", "-c", "kvrn")):
        """Runs snmpwalk, snmpget, ...; returns its output and errors."""
        done = subprocess.run([client, *account, "-r0", f"-t{timeout}", *options, self.address, *oids],
                              capture_output=True, text=True, env={**os.environ, **QUIET}, timeout=60)
        return done.stdout + done.stderr

    def walk(self, client="snmpwalk", **how):
        return self.ask(client, ROOT, **how)

    def wait_for(self, text, words, seconds, **how):
        """Repeats a GET until the answer contains `text`. Returns how many seconds this took, None after `seconds`."""
        start = time.monotonic()
        while time.monotonic() - start < seconds:
            if text in self.ask("snmpget", *words, timeout=0.2, **how):
                return time.monotonic() - start
            time.sleep(0.02)
        return None


class Alone(Agent):
    def __init__(self, settings="rocommunity kvrn 127.0.0.1\n"):
        super().__init__()
        self.config, self.state = self.folder + "/agentd.conf", self.folder + "/state"
        self.words = ["--listen", "udp:" + self.address, "--config", self.config, "--state", self.state]
        with open(self.config, "w") as file:
            file.write(settings)


class Master(Agent):
    def __init__(self, settings=""):
        super().__init__()
        self.socket = self.folder + "/master"
        self.words = ["--agentx-socket", self.socket]
        self.process = None
        with open(self.folder + "/snmpd.conf", "w") as file:
            file.write(f"agentaddress udp:{self.address}\nmaster agentx\nagentXSocket {self.socket}\n"
                       f"rwcommunity kvrn 127.0.0.1\n{settings}")

    def start(self):
        environment = {**os.environ, **QUIET, "SNMP_PERSISTENT_DIR": self.folder + "/persistent"}
        with open(self.folder + "/snmpd.log", "a") as log:
            self.process = subprocess.Popen([snmpd_program(), "-f", "-Lo", "-I", "-smux", "-C", "-c", self.folder + "/snmpd.conf"],
                                            stdin=subprocess.DEVNULL, stdout=log, stderr=log, env=environment)
        return self

    def kill(self):
        if self.process:
            self.process.kill()
            self.process.wait()
            self.process = None

    def __exit__(self, *_):
        self.kill()
        super().__exit__()
