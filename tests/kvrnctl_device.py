# SPDX-License-Identifier: MIT
"""What the tests of the command line tools share: a simulated device, and programs run on it."""
import atexit
import contextlib
import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest

try:
    import jsonschema
except ImportError:
    if os.environ.get("CI"):
        raise
    print("NOT TESTED: documents against their schema, which takes python3-jsonschema", file=sys.stderr)
    jsonschema = None

BIN = os.environ["KVRN_BIN"]
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

    def run(self, *words, env=None):
        return Run(subprocess.run(self.command(*words), capture_output=True, text=True, timeout=60,
                                  env={**os.environ, **(env or {})}))

    def run_by_mode(self, *words):
        """Without the right of root to pass over the modes of files."""
        account = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"] if os.geteuid() == 0 else []
        return Run(subprocess.run([*account, *self.command(*words)], capture_output=True, text=True, timeout=60))
