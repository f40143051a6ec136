# SPDX-License-Identifier: MIT
"""kvrn-monitord: one instance, what it publishes, and what it survives."""
import collections
import contextlib
import os
import re
import shutil
import signal
import stat
import struct
import subprocess
import time
import unittest

from kvrnctl_device import BIN, LIB, SOURCE, Device, now, service_manager

PSU, OUTPUT, BATTERY = "/tmp/.psu_info_cache", "/tmp/.output_cache", "/tmp/.raw_battery_data"
SIZES = {PSU: 552, OUTPUT: 80, BATTERY: 360}
PERIOD = 0.2


class Monitor:
    def __init__(self, device, *words, env=None, period=PERIOD, pid_file="/monitor.pid"):
        self.pid_file = device.folder + pid_file
        self.process = subprocess.Popen(
            [BIN + "/kvrn-sim", "run", device.root, "--", BIN + "/kvrn-monitord", "--pid-file", self.pid_file, "--period",
             str(period), *words], stderr=subprocess.PIPE, text=True, env={**os.environ, **(env or {})})

    def __enter__(self):
        time.sleep(3 * PERIOD)
        return self

    def __exit__(self, *_):
        self.end()

    def end(self, number=signal.SIGTERM):
        self.process.send_signal(number)
        error = self.process.communicate(timeout=20)[1]
        return self.process.returncode, error

    def descriptors(self):
        counts = []
        for _ in range(8):  # between two periods: the fewest
            counts.append(len(os.listdir(f"/proc/{self.process.pid}/fd")))
            time.sleep(PERIOD / 8)
        return min(counts)


def stamp_age(device, path):
    with open(device.path(path), "rb") as file:
        return now() - struct.unpack(">q", file.read()[-8:])[0]


def stamp(image, seconds):
    with open(image, "r+b") as file:
        file.seek(-8, os.SEEK_END)
        file.write(struct.pack(">q", seconds))


class Publishing(unittest.TestCase):
    def test_once_publishes_private_images_of_this_board(self):
        for board, images in (("four-source", {PSU, OUTPUT, BATTERY}), ("three-source", {PSU, OUTPUT})):
            device = Device(board)
            self.assertEqual(Monitor(device, "--once").end(0), (0, ""))
            for path in (PSU, OUTPUT, BATTERY):
                self.assertEqual(os.path.exists(device.path(path)), path in images, path)
            for path in images:
                self.assertEqual(stat.S_IMODE(os.stat(device.path(path)).st_mode), 0o640)
                self.assertLessEqual(stamp_age(device, path), 1)
        self.assertEqual(device.run("psu", "--source", "cache").status, 0)

    def test_a_period_makes_the_calls_that_the_documentation_lists(self):
        device = Device("four-source")
        script = f'LD_PRELOAD={LIB}/libcount_calls.so:$LD_PRELOAD exec "$0" --pid-file {device.folder}/pid --period 0.1'
        run = [BIN + "/kvrn-sim", "run", device.root, "--", "timeout", "-s", "TERM", "2"]
        done = subprocess.run([*run, "sh", "-c", script, BIN + "/kvrn-monitord"], stderr=subprocess.PIPE, text=True)
        periods = [re.findall(r"(\w+?)(?:64)? (\d+)", line) for line in done.stderr.splitlines()]
        self.assertGreater(len(periods), 3)
        for period in (dict(calls) for calls in periods[1:]):
            self.assertEqual(int(period["malloc"]) + int(period["calloc"]), int(period["free"]), period)
        calls = collections.Counter()
        for name, count in periods[2]:
            calls[name] += int(count)
        with open(SOURCE + "/docs/performance.md", encoding="utf-8") as file:
            listed = re.findall(r"^\| `(\w+)` \| (\d+) \|", file.read(), re.M)
        self.assertEqual(calls, {name: int(count) for name, count in listed})

    def test_a_second_instance_says_who_is_first(self):
        device = Device("four-source")
        with Monitor(device) as first:
            status, error = Monitor(device).end(0)
            self.assertEqual(status, 1)
            self.assertIn(f"process {first.process.pid} is the monitor", error)
            # Nor does one that looks at another file, or whose file was removed; who lost the image ends.
            self.assertIn("another process is the monitor", Monitor(device, pid_file="/another.pid").end(0)[1])
            os.remove(first.pid_file)
            self.assertIn("another process is the monitor", Monitor(device).end(0)[1])
            first.process.send_signal(signal.SIGSTOP)
            os.remove(device.path(PSU))
            with Monitor(device) as second:
                first.process.send_signal(signal.SIGCONT)
                self.assertEqual(first.process.wait(timeout=20), 1)
                self.assertIsNone(second.process.poll())
        self.assertEqual(Monitor(device, "--once").end(0)[0], 0)

    def test_a_file_that_names_no_process_is_left_as_it_is(self):
        device = Device("four-source")
        with open(device.folder + "/monitor.pid", "w", encoding="utf-8") as file:
            file.write("root:x:0:0\n")
        self.assertIn("not a file with a process number", Monitor(device, "--once").end(0)[1])
        self.assertEqual(os.path.getsize(device.folder + "/monitor.pid"), 11)
        self.assertIn("not a file with a process", Monitor(device, "--once", pid_file="/../../dev/null").end(0)[1])

    def test_messages_are_said_and_go_into_no_file_of_its_own(self):
        device = Device("four-source")
        os.mkdir(device.path(OUTPUT))
        self.assertIn(f"{OUTPUT}: Is a directory", Monitor(device, "--once").end(0)[1])
        script = 'exec "$0" --stderr --once --pid-file "$1" <&- >&- 2>&-'
        subprocess.run([BIN + "/kvrn-sim", "run", device.root, "--", "sh", "-c", script, BIN + "/kvrn-monitord",
                        device.folder + "/monitor.pid"], check=False)
        for path in (device.path(PSU), device.path(BATTERY), device.folder + "/monitor.pid"):
            with open(path, "rb") as file:
                self.assertNotIn(b"monitord", file.read())

    def test_wrong_usage(self):
        number = "--period is a number from 0.1 to 9 s, not "
        for words, error in ((["--period", "10"], number + "'10'"), (["--period=1e0"], number + "'1e0'"),
                             (["--per=1"], "no option '--per'; did you mean '--period'?"),
                             (["--once", "-5"], "'-5' is one word too many"), (["--", "--once"], "'--once' is one word"),
                             (["-x"], "no option '-x'; choose from --period, --once, --background, --pid-file, --stderr, "),
                             (["--once=1"], "--once takes no value"), (["--period"], "--period needs a value"),
                             (["--pid-file", "--once"], "--pid-file needs a value"),
                             (["--once", "--background"], "--once and --background exclude each other"),
                             (["--pid-file", "a", "--pid-file=b"], "--pid-file is given twice")):
            done = subprocess.run([BIN + "/kvrn-monitord", *words], capture_output=True, text=True)
            self.assertIn("kvrn-monitord: " + error, done.stderr)
            self.assertEqual((done.returncode, done.stderr.splitlines()[1:]), (2, ["Try 'kvrn-monitord --help'."]))
        self.assertEqual(subprocess.run([BIN + "/kvrn-monitord", "--pid-file", "/nowhere/x", "--once"],
                                        capture_output=True).returncode, 1)

    def test_signals_end_it_with_readable_images(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            device = Device("four-source")
            monitor = Monitor(device).__enter__()
            monitor.process.send_signal(signal.SIGHUP)
            self.assertEqual(monitor.end(number), (0, ""))
            self.assertEqual(device.run("psu", "--source", "cache").status, 0)


class Surviving(unittest.TestCase):
    @contextlib.contextmanager
    def monitor(self, device):
        """A monitor that runs on, with no descriptor more than it began with."""
        with Monitor(device) as monitor:
            descriptors = monitor.descriptors()
            yield monitor
            self.assertEqual(monitor.descriptors(), descriptors)
            self.assertIsNone(monitor.process.poll())

    def fresh(self, device):
        time.sleep(4 * PERIOD)
        for path, size in SIZES.items():
            self.assertEqual(os.path.getsize(device.path(path)), size)
            self.assertLessEqual(abs(stamp_age(device, path)), 1, path)
        self.assertEqual(device.run("psu", "--source", "cache").status, 0)

    def test_removed_truncated_and_odd_images(self):
        device = Device("four-source")
        with self.monitor(device):
            for damage in (os.remove, lambda image: os.truncate(image, 7), lambda image: stamp(image, -7),
                           lambda image: stamp(image, 2**62)):
                for path in SIZES:
                    damage(device.path(path))
                self.fresh(device)

    def test_a_full_tmp(self):
        device = Device("four-source")
        filler = device.full_tmp()
        with Monitor(device):
            self.assertEqual(device.run("psu", "--source", "cache").status, 1)
            os.remove(filler)
            self.fresh(device)
        with self.monitor(device) as monitor:
            monitor.process.send_signal(signal.SIGSTOP)
            for path in SIZES:
                os.truncate(device.path(path), 0)
            filler = device.full_tmp()
            monitor.process.send_signal(signal.SIGCONT)
            time.sleep(3 * PERIOD)
            self.assertEqual({os.path.getsize(device.path(path)) for path in SIZES}, {0})
            os.remove(filler)
            self.fresh(device)

    def test_failing_hardware(self):
        device = Device("four-source")
        with self.monitor(device):
            device.set("gpio", "211", "busy")
            device.set("i2c", "2-0b", "0x09", "refuse")
            shutil.rmtree(device.path("/var/run/hwmon"))
            os.remove(device.path("/dev/gpiochip/by-label/1-0075"))
            time.sleep(1)
            self.fresh(device)
            os.remove(device.path("/dev/i2c-2"))
            time.sleep(3 * PERIOD)
            self.assertLessEqual(stamp_age(device, PSU), 1)


class Managed(unittest.TestCase):
    def test_a_manager_that_does_not_listen_is_not_waited_for(self):
        device = Device("four-source")
        with service_manager(20000) as (manager, env):
            monitor = Monitor(device, env=env).__enter__()
            time.sleep(2)
            self.assertLessEqual(stamp_age(device, PSU), 1)
            self.assertEqual(monitor.end()[0], 0)

    def test_readiness_watchdog_and_stopping(self):
        device = Device("four-source")
        with service_manager(300000) as (manager, env):
            manager.settimeout(10)
            monitor = Monitor(device, period=5, env=env)
            heard = [manager.recv(100).decode() for _ in range(4)]
            self.assertEqual(heard, ["READY=1"] + ["WATCHDOG=1"] * 3)
            self.assertEqual(monitor.end()[0], 0)
            manager.settimeout(1)
            while heard[-1] != "STOPPING=1":
                heard.append(manager.recv(100).decode())

    def test_hanging_hardware_silences_the_watchdog_and_its_readings_are_left(self):
        device = Device("four-source")
        with service_manager(300000) as (manager, env):
            monitor = Monitor(device, env=env).__enter__()
            register = device.path("/i2c/2-0b/09")
            os.remove(register)
            os.mkfifo(register)  # who asks for it waits for ever
            time.sleep(2 * PERIOD)
            manager.settimeout(0.1)
            with contextlib.suppress(TimeoutError):
                while True:
                    manager.recv(100)
            manager.settimeout(1)
            self.assertRaises(TimeoutError, manager.recv, 100)
            stamp(device.path(PSU), now() - 11)  # ten seconds later
            self.assertEqual(device.run("psu", "--source", "cache").status, 3)
            self.assertEqual(monitor.end(signal.SIGABRT)[0], -signal.SIGABRT)  # as the manager ends it
