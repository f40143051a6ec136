# SPDX-License-Identifier: MIT
"""The machine: a big-endian MIPS kernel in qemu that shares a folder with this host and runs jobs from it."""
import contextlib
import os
import select
import shutil
import socket
import subprocess
import tempfile
import time

from snmpd import free_port
from states import hand_over

MEMORY = "mem=240M@0 mem=15M@0x0f100000"  # what lies between is the flash


class Hang(Exception):
    pass


class Job:
    def __init__(self, status, out, err):
        self.status, self.out, self.err = status, out, err


class Machine:
    def __init__(self, kernel, image, memory=MEMORY, append=""):
        self.folder = tempfile.mkdtemp(prefix="kvrn-vm-")
        self.share = self.folder + "/share"
        os.makedirs(self.share + "/job")
        self.port = free_port()
        self.console = self.folder + "/console"
        self.kernel, self.image, self.append = kernel, image, f"{memory} {append}"
        self.jobs = 0

    def command(self, *serial):
        return ["qemu-system-mips", "-M", "malta", "-cpu", "24Kf", "-m", "256", "-display", "none", "-vga", "none", "-no-reboot",
                "-kernel", self.kernel, "-initrd", self.image, *serial,
                "-virtfs", f"local,path={self.share},mount_tag=host,security_model=none",
                "-netdev", f"user,id=net,hostfwd=udp:127.0.0.1:{self.port}-:161",
                "-device", "virtio-net-pci,netdev=net,romfile=",
                "-append", f"console=ttyS0 loglevel=3 panic=-1 ip=dhcp iomem=relaxed {self.append}"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with contextlib.suppress(AttributeError):
            self.process.kill()
            self.process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)

    def give(self, name, board):
        """Makes a healthy device, and puts it into the folder that the machine shares."""
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["kvrn-sim", "new", folder + "/device", "--board", board], check=True)
            hand_over(folder + "/device", f"{self.share}/{name}")

    def boot(self, seconds=120):
        line = self.folder + "/line"
        self.process = subprocess.Popen(self.command("-monitor", "none", "-serial", "file:" + self.console,
                                                     "-serial", f"unix:{line},server=on,wait=off"),
                                        stdin=subprocess.DEVNULL)
        end = time.monotonic() + seconds
        self.line = socket.socket(socket.AF_UNIX)
        while not os.path.exists(line) or self.line.connect_ex(line) != 0:
            if time.monotonic() > end or self.process.poll() is not None:
                raise Hang(f"qemu does not start: status {self.process.poll()}")
            time.sleep(0.05)
        self.heard = b""
        self.hear("ready", end - time.monotonic())
        return self

    def hear(self, word, seconds):
        """Until the machine has written the word on its line."""
        end = time.monotonic() + seconds
        while word.encode() + b"\n" not in self.heard.replace(b"\r", b""):
            wait = end - time.monotonic()
            ready = wait > 0 and select.select([self.line], [], [], wait)[0]
            data = b""
            with contextlib.suppress(ConnectionError):
                data = self.line.recv(4096) if ready else b""
            if not data:
                why = "the machine stopped before" if ready else f"the machine did not, in {seconds:.0f} s, end"
                raise Hang(f"{why} '{word}'; its console:\n{self.log()}")
            self.heard += data
        self.heard = b""

    def log(self):
        with open(self.console, errors="replace") as file:
            return "".join(file.readlines()[-60:])

    def do(self, script, seconds=120):
        """Runs a shell script that must succeed."""
        job = self.run("set -e\n" + script, seconds)
        if job.status != 0:
            raise AssertionError(f"status {job.status} of: {script}\n{job.out}{job.err}")
        return job.out

    def run(self, script, seconds=120):
        """Runs a shell script on the machine."""
        self.jobs += 1
        name = f"{self.jobs}"
        path = f"{self.share}/job/{name}"
        with open(path, "w") as file:
            file.write(script)
        self.line.sendall(name.encode() + b"\n")
        self.hear(name, seconds)
        parts = []
        for kind in ("out", "err", "status"):
            with open(f"{path}.{kind}", errors="surrogateescape") as file:
                parts.append(file.read())
        return Job(int(parts[2]), parts[0], parts[1])
