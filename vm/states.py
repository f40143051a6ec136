# SPDX-License-Identifier: MIT
"""Random states of a device, as folders that kvrn-sim and lay-out take."""
import os
import random
import shutil
import struct
import subprocess
import time

PROFILES = ("four-source", "three-source", "generic", "ar724x")
REVISION = 0x18060090  # where the memory has the SoC's revision, in this host's byte order
NUMBERS = ("0", "1", "2", "3", "", "x", "-1", "255", " 1", "1\n", "99999999999", "0x10", "1.5", "7 8 9")
FLAGS = ([f"/tmp/.overload_check{end}" for end in ("", "_0", "_1", "_2")] + [f"/tmp/.overload_req{n}" for n in (0, 1)] +
         [f"/tmp/.dc-problem{n}" for n in range(3)] + [f"/tmp/.dc-enabled{n}" for n in range(3)] +
         ["/tmp/.overload_charging", "/tmp/.ac_outage_check", "/tmp/.ac_outage_overload_check",
          "/tmp/.battery_outage_check", "/tmp/.ac_on_status", "/tmp/.ac_on_status2", "/tmp/.batt_ch_status",
          "/tmp/.batt_status", "/tmp/.charging_status", "/tmp/.batt_li_ch_status", "/tmp/.power_meter",
          "/tmp/.led-status-loc", "/tmp/.psu_data_stable", "/tmp/.lv2", "/tmp/.lv3", "/tmp/.calibrating",
          "/tmp/.calibrating_1"])
ESTIMATES = ("87 5400 0 0\n", "5 100 1 2\n", "", "x", "100", "-3 4 5 6\n", "101 99999999 3 1\n", "50 600 0\n")
CONFIGS = ("", "psu.monitor.battery.install_date=20210315\n", "psu.monitor.battery.install_date=2021\n",
           "dcout.1.status=disabled\ndcout.2.status=enabled\n", "dcout.1.status=\n", "psu.1.batt.capacity=9000\n",
           "netconf.1.devname=eth0\nnetconf.1.up=1\n", "no equals sign\n=no key\n")


def write(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(text.encode() if isinstance(text, str) else text)


def read(path):
    with open(path, "rb") as file:
        return file.read()


class State:
    def __init__(self, folder, number):
        self.random = random.Random(number)
        self.root = f"{folder}/{number:03}"
        self.profile = PROFILES[number % len(PROFILES)]
        subprocess.run(["kvrn-sim", "new", self.root, "--board", self.profile], check=True)
        self.ages = {}

    def path(self, name):
        return self.root + name

    def chance(self, share):
        return self.random.random() < share

    def files(self, folder):
        top = self.path(folder)
        return sorted(os.path.join(top, name) for name in os.listdir(top)) if os.path.isdir(top) else []

    def change(self):
        """From a healthy device to a random one: the images are those of the healthy or of a changed device."""
        if self.chance(0.3):
            self.publish()
        self.lines()
        self.buses()
        if self.chance(0.4):
            self.publish()
        self.monitors()
        self.flags()
        self.batteries()
        self.board()
        if self.ages and self.chance(0.2):
            self.spoil_images()
        write(self.path("/ages"), "".join(f"{name} {age}\n" for name, age in self.ages.items()))
        return self

    def publish(self):
        subprocess.run(["kvrn-sim", "run", self.root, "--", "kvrn-monitord", "--once", "--pid-file",
                        self.root + ".pid"], check=False, capture_output=True)
        for name in ("/tmp/.psu_info_cache", "/tmp/.output_cache", "/tmp/.raw_battery_data"):
            if os.path.exists(self.path(name)):
                self.ages[name] = self.random.choice((0, 0, 2, 20))

    def spoil_images(self):
        name = self.random.choice(sorted(self.ages))
        image = bytearray(read(self.path(name)))
        if self.chance(0.3):
            del image[self.random.randrange(8, len(image)):]
        else:
            for _ in range(20):
                image[self.random.randrange(len(image) - 8)] = self.random.randrange(256)
        write(self.path(name), bytes(image))

    def lines(self):
        for path in self.files("/gpio"):
            level, direction, name, *_ = read(path).decode().split() + [""]
            if self.chance(0.25):
                level = str(1 - int(level))
            busy = " busy" if self.chance(0.04) else ""
            write(path, f"{level} {direction} {name}{busy}\n")
        for chip in self.files("/dev/gpiochip/by-label"):
            if self.chance(0.04):
                os.remove(chip)

    def buses(self):
        for device in self.files("/i2c"):
            for path in sorted(os.path.join(device, name) for name in os.listdir(device)):
                self.register(path)
            if self.chance(0.1):
                os.rename(device, device + ".absent")
        for bus in ("/dev/i2c-2", "/dev/i2c-8"):
            if os.path.exists(self.path(bus)) and self.chance(0.05):
                os.remove(self.path(bus))

    def register(self, path):
        name = os.path.basename(path)
        if name == "command":
            return
        if self.chance(0.06):
            write(path, "refuse\n")
        elif name.startswith("block-") and self.chance(0.2):
            write(path, " ".join(f"{self.random.randrange(256):02x}" for _ in range(self.random.randrange(1, 33))) + "\n")
        elif not name.startswith("block-") and self.chance(0.2):
            word = self.random.choice((0, 1, 0x7FFF, 0x8000, 0xFFFF, 0xFF, self.random.randrange(0xDEAD)))
            write(path, f"0x{word:04x}\n")

    def monitors(self):
        for monitor in self.files("/var/run/hwmon"):
            for path in sorted(os.path.join(monitor, name) for name in os.listdir(monitor)):
                if self.chance(0.08):
                    os.remove(path)
                elif self.chance(0.3):
                    write(path, self.random.choice(("0\n", "-5\n", "55000\n", "2147483647\n", "99999999999\n", "x\n", "",
                                                    f"{self.random.randrange(-9000, 60000)}\n")))

    def flags(self):
        for name in FLAGS:
            if self.chance(0.15):
                write(self.path(name), self.random.choice(NUMBERS))
            elif self.chance(0.1) and os.path.exists(self.path(name)):
                os.remove(self.path(name))

    def batteries(self):
        for name in ("/tmp/.battery_info", "/tmp/.battery_info_1"):
            if self.chance(0.25):
                write(self.path(name), self.random.choice(ESTIMATES))
        for end in ("", "_1"):
            path = self.path("/etc/persistent/battery_data" + end)
            if not os.path.exists(path) or not self.chance(0.3):
                continue
            record = bytearray(read(path))
            for _ in range(6):
                record[self.random.randrange(len(record))] = self.random.randrange(256)
            write(path, bytes(record[:self.random.choice((len(record), len(record), 50))]))

    def board(self):
        if self.chance(0.3):
            write(self.path("/tmp/system.cfg"), "".join(self.random.sample(CONFIGS, 3)))
        if self.chance(0.1):
            write(self.path("/etc/board.info"), self.random.choice(("", "board.name=Other\n", "board.shortname=\n")))
        if self.chance(0.05):
            write(self.path("/etc/version"), self.random.choice(("", "1.2\n", "x" * 300)))
        if self.chance(0.1):
            self.flash()
        if self.chance(0.05):
            text = read(self.path("/proc/mtd")).replace(b"EEPROM", b"other")
            write(self.path("/proc/mtd"), text)
        if self.chance(0.1):
            self.soc_revision(self.random.choice((0, 0x101, 0x160, 0x0B00, 0xFFFFFFFE)))
        if self.chance(0.05):
            write(self.path("/proc/cpuinfo"), self.random.choice(("", "system type : Atheros AR7241 rev 1\n", "x\n")))

    def soc_revision(self, revision):
        with open(self.path("/dev/mem"), "r+b") as memory:
            memory.seek(REVISION)
            memory.write(struct.pack("=I", revision))

    def flash(self):
        flash = bytearray(read(self.path("/dev/mtdblock5")))
        for _ in range(self.random.choice((1, 30))):
            flash[self.random.choice((0x0C, 0x0D, 0x0F, 0x11, 0x13, 0x1000 + 39, 0x1000 + 41, 0x1102))] = \
                self.random.randrange(256)
        write(self.path("/dev/mtdblock5"), bytes(flash))

    def stamp(self):
        """The images get their ages anew, as lay-out gives them."""
        for name, age in self.ages.items():
            image = read(self.path(name))
            stamp = struct.pack(">q", int(time.clock_gettime(time.CLOCK_MONOTONIC)) - age)
            write(self.path(name), image[:-8] + stamp)


def hand_over(root, folder):
    """Copies a device without its memory, which is mostly a hole: its one word goes as the file "revision"."""
    shutil.copytree(root, folder, symlinks=True, ignore=lambda _, names: [name for name in names if name == "mem"])
    with open(root + "/dev/mem", "rb") as memory:
        memory.seek(REVISION)
        write(folder + "/revision", hex(struct.unpack("=I", memory.read(4))[0]))
