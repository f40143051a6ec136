# SPDX-License-Identifier: MIT
"""The simulated device of a booted root: what may open it as on a real device, and faults of its hardware."""
import contextlib
import errno
import fcntl
import os
import pathlib
import select
import struct
import subprocess
import termios
import time

FOLDER = "/var/lib/device"  # in the root
BOARD = "four-source"
REGISTER = "i2c/2-0b/09"  # the voltage of the smart battery

# Who opens what, as the udev rules have it, and the rest as the kernel has it. The first line that fits counts.
RIGHTS = (
    ("dev/gpiochip/by-label/*", "root:gpio", 0o660),
    ("gpio/*", "root:gpio", 0o660),
    ("dev/i2c-[28]", "root:i2c", 0o660),
    ("i2c/*/*", "root:i2c", 0o660),
    ("dev/mtd*", "root:kvrn", 0o640),
    ("dev/i2c-*", "root:root", 0o600),
    ("dev/mem", "root:root", 0o600),
)

# Only for these tests: the units of the packages know nothing of a simulated device.
DROP_IN = """[Service]
Environment={}
ReadWritePaths={}
"""


def environment(root):
    """What makes a program in the root work on the device."""
    hooks = next(pathlib.Path(root, "usr/lib").glob("*/kvrn/libkvrn-sim.so"))
    return {"KVRN_SIM_ROOT": FOLDER, "LD_PRELOAD": f"/{hooks.relative_to(root)}"}


def lay(root):
    """Puts a healthy device into a root that does not run yet. Its files in /tmp are the root's own, so that their
    owners and modes are those of the installed services."""
    def inside(*words):
        subprocess.run(["chroot", root, *words], check=True)
    inside("kvrn-sim", "new", FOLDER, "--board", BOARD)
    device = pathlib.Path(root + FOLDER)
    for pattern, owner, mode in reversed(RIGHTS):
        for path in sorted(device.glob(pattern)):
            os.chmod(path, mode)
            inside("chown", owner, "/" + str(path.relative_to(root)))
    (device / "tmp").rename(device / "flags")
    (device / "tmp").symlink_to("/tmp")
    with open(f"{root}/etc/tmpfiles.d/device.conf", "w", encoding="utf-8") as file:
        for flag in os.listdir(device / "flags"):
            file.write(f"C /tmp/{flag} 0644 root root - {FOLDER}/flags/{flag}\n")
    folder = pathlib.Path(root, "etc/systemd/system/kvrn-.service.d")
    folder.mkdir()
    variables = " ".join(f"{name}={value}" for name, value in environment(root).items())
    (folder / "device.conf").write_text(DROP_IN.format(variables, FOLDER), encoding="utf-8")


class Hanging:
    """Until give_back() a register does not answer: who asks for it waits. Then it answers everybody who waits, as a bus
    does that was stuck."""

    def __init__(self, root):
        self.path = pathlib.Path(root + FOLDER, REGISTER)
        self.saved = self.path.with_suffix(".saved")
        self.hangs = False

    def __enter__(self):
        owner = os.stat(self.path)
        pipe = self.path.with_suffix(".pipe")
        os.mkfifo(pipe)
        os.chown(pipe, owner.st_uid, owner.st_gid)
        os.chmod(pipe, owner.st_mode)
        os.link(self.path, self.saved)
        pipe.rename(self.path)
        self.hangs = True
        return self

    def give_back(self):
        if not self.hangs:
            return
        self.hangs = False
        waiting = self.path.with_suffix(".waiting")
        self.path.rename(waiting)
        self.saved.rename(self.path)
        value = self.path.read_bytes()
        try:
            pipe = os.open(waiting, os.O_WRONLY | os.O_NONBLOCK | os.O_CLOEXEC)
        except OSError as error:
            if error.errno != errno.ENXIO:
                raise
        else:
            self.answer(pipe, value)
            os.close(pipe)
        waiting.unlink()

    @staticmethod
    def answer(pipe, value):
        """Writes the value again when somebody has taken it, until nobody waits any more."""
        watch = select.poll()
        watch.register(pipe, 0)
        while not watch.poll(0):
            left = struct.unpack("i", fcntl.ioctl(pipe, termios.FIONREAD, b"\0" * 4))[0]
            if left == 0:
                with contextlib.suppress(BrokenPipeError):
                    os.write(pipe, value)
            time.sleep(0.001)

    def __exit__(self, *_):
        self.give_back()
