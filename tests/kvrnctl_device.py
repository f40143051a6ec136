# SPDX-License-Identifier: MIT
"""What the tests of the command line tools share: a simulated device, and programs run on it."""
import atexit
import contextlib
import json
import os
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

try:
    import jsonschema
except ImportError:
    if os.environ.get("CI"):
        raise
    print("NOT TESTED: documents against their schema, which takes python3-jsonschema", file=sys.stderr)
    jsonschema = None

BIN, LIB = os.environ["KVRN_BUILD"] + "/bin", os.environ["KVRN_BUILD"] + "/lib"
SOURCE = os.environ["KVRN_SOURCE"]
if jsonschema:
    with open(SOURCE + "/docs/kvrnctl.schema.json", encoding="utf-8") as file:
        SCHEMA = jsonschema.Draft202012Validator(json.load(file))
    SCHEMA.check_schema(SCHEMA.schema)


class Run:
    def __init__(self, done):
        self.status, self.out, self.err = done.returncode, done.stdout, done.stderr

    def json(self):
        document = json.loads(self.out)
        if jsonschema:
            wrong = jsonschema.exceptions.best_match(SCHEMA.iter_errors(document))
            if wrong:
                raise AssertionError(f"not as docs/kvrnctl.schema.json has it: {wrong.json_path}: {wrong.message}")
        return document


def now():
    return int(time.clock_gettime(time.CLOCK_MONOTONIC))


def new_folder():
    folder = tempfile.mkdtemp(prefix="kvrn-test-")
    atexit.register(shutil.rmtree, folder, ignore_errors=True)
    return folder


@contextlib.contextmanager
def service_manager(watchdog_us):
    """The socket on which a service manager hears its service, and the environment that tells the service of it."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
        path = new_folder() + "/notify"
        manager.bind(path)
        yield manager, {"NOTIFY_SOCKET": path, "WATCHDOG_USEC": str(watchdog_us)}


class Device:
    def __init__(self, board):
        self.folder = new_folder()
        self.root = os.path.join(self.folder, "root")
        self.sim("new", self.root, "--board", board)

    def sim(self, *words):
        return subprocess.run([BIN + "/kvrn-sim", *words], check=True, capture_output=True, text=True).stdout

    def set(self, *words):
        self.sim("set", self.root, *words)

    def path(self, name):
        return self.root + name

    def write(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)

    def publish_psus(self, stamp=None, size=552):
        """What the monitor publishes of power sources that are all there: at that time, and so much of it."""
        records = b"".join(struct.pack(">IB3xI", i, 0xC0, 1 if i < 2 else 2).ljust(136, b"\0") for i in range(4))
        self.write("/tmp/.psu_info_cache", (records + struct.pack(">q", now() if stamp is None else stamp))[:size])

    def publish_outputs(self, stamp=None, states=(0, 0, 0)):
        records = b"".join(struct.pack(">6i", 53800, 850, 45_730_000, 1, 0, state) for state in states)
        self.write("/tmp/.output_cache", records + struct.pack(">q", now() if stamp is None else stamp))

    def full_tmp(self):
        """Gives the device a /tmp of four pages, and fills it. @return the file that fills it"""
        if not os.path.ismount(self.path("/tmp")):
            done = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=16k", "kvrn-test", self.path("/tmp")],
                                  capture_output=True, text=True)
            if done.returncode != 0:
                raise unittest.SkipTest("NOT TESTED: a full /tmp, which takes the right to mount: " + done.stderr)
            atexit.register(subprocess.run, ["umount", "-l", self.path("/tmp")])  # before the folder goes
        filler = self.path("/tmp/filler")
        with open(filler, "ab", buffering=0) as file, contextlib.suppress(OSError):
            while True:
                file.write(bytes(4096))
        return filler

    def command(self, *words):
        return [BIN + "/kvrn-sim", "run", self.root, "--", BIN + "/kvrnctl", *words]

    def run(self, *words, account=()):
        return Run(subprocess.run([*account, *self.command(*words)], capture_output=True, text=True, timeout=60))

    def run_by_mode(self, *words):
        """Without the right of root to pass over the modes of files."""
        account = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"] if os.geteuid() == 0 else []
        return self.run(*words, account=account)
