# SPDX-License-Identifier: MIT
"""A private master agent on a free loopback port, and the clients that query it. No system service is involved."""
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
def serving(master, program, text, oid):
    """Starts a sub-agent, waits until the master's answer for `oid` contains `text`, and ends it at the end."""
    agent = subprocess.Popen(program)
    try:
        if master.wait_for(text, [oid], 10) is None:
            sys.exit(f"no answer from {' '.join(program)}")
        yield agent
    finally:
        agent.terminate()
        agent.wait()


def snmpd_program():
    return shutil.which("snmpd", path=os.environ["PATH"] + ":/usr/sbin:/sbin")


class Master:
    def __init__(self, settings=""):
        self.folder = tempfile.mkdtemp(prefix="kvrn-snmpd-")
        self.socket = self.folder + "/master"
        self.address = f"127.0.0.1:{free_port()}"
        self.process = None
        os.chmod(self.folder, 0o755)
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

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kill()
        shutil.rmtree(self.folder, ignore_errors=True)

    def ask(self, client, *oids, options=("-On",), timeout=2):
        """Runs snmpwalk, snmpget, ...; returns its output and errors."""
        done = subprocess.run([client, "-v2c", "-c", "kvrn", "-r0", f"-t{timeout}", *options, self.address, *oids],
                              capture_output=True, text=True, env={**os.environ, **QUIET}, timeout=60)
        return done.stdout + done.stderr

    def walk(self, client="snmpwalk"):
        return self.ask(client, ROOT)

    def wait_for(self, text, words, seconds):
        """Repeats a GET until the answer contains `text`. Returns how many seconds this took, None after `seconds`."""
        start = time.monotonic()
        while time.monotonic() - start < seconds:
            if text in self.ask("snmpget", *words, timeout=0.2):
                return time.monotonic() - start
            time.sleep(0.02)
        return None
