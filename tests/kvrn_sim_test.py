# SPDX-License-Identifier: MIT
"""kvrn-sim as a user runs it: what it refuses, what it changes, and ordinary programs on a device."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

BIN, HOOKS = os.environ["KVRN_BUILD"] + "/bin/kvrn-sim", os.environ["KVRN_BUILD"] + "/lib/libkvrn-sim.so"


class Command(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kvrn-test-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.root = self.folder / "below" / "root"
        (self.folder / "mine").write_text("mine")
        self.sim("new", "--board", "four-source")

    def sim(self, verb, *words, status=0, program=BIN):
        done = subprocess.run([program, verb, self.root, *words], capture_output=True, text=True, timeout=60)
        self.assertEqual(done.returncode, status, f"{verb} {words}: {done.stdout}{done.stderr}")
        return done.stdout + done.stderr

    def files(self, of):
        return {path: path.stat().st_mtime_ns for path in sorted(of.rglob("*")) if path.is_file()}

    def test_refuses_what_is_no_part_of_a_device_and_leaves_everything_alone(self):
        before = self.files(self.folder)
        for words in ("gpio -1 1", "gpio 300 1", "gpio 264 1", "gpio 99 1", "gpio 111 2", "gpio 111 -1", "gpio x 1", "gpio",
                      "gpio 111", "i2c ../../.. absent", "i2c -5--1 0x09 1", "i2c 2-80 0x09 1", "i2c 2- absent", "i2c 2",
                      "i2c 256-0b absent", "i2c 2-0b 0x100 1", "i2c 2-0b 0x09 0x10000", "i2c 2-0b 0x09 -1", "i2c ../x busy",
                      "i2c 2-0b block-../../../x 00", "i2c 2-0b block-7 00", "i2c 2-0b block-71 zz", "i2c 9-0b present", "i2c 2-0b block-071 00", "i2c 2-0b 0x09",
                      "file ../../mine x", "file /tmp/../.. x", "file .. x", "file / x", "hwmon ../../../../../mine a x",
                      "hwmon mon-battery in0_input", "nonsense 1", "gpio 150 1", "gpio mains-1-fial 1", "i2c 9-0b 0x09 1",
                      "i2c 2-0b 0x99 1", "i2c 9 busy", "i2c 5-0b absent", "hwmon mon-battery in1 5", "file tmp/.lv_active 1",
                      "file /tmp/x 1"):
            self.sim("set", *words.split(), status=2)
        self.assertIn("it has mon-battery, mon-dc-out-1", self.sim("set", "hwmon", "mon-batery", "in0_input", "1", status=2))
        for words in ("gpio", "gpio 300", "i2c 2-0b", "i2c 2-0b block-../../../x", "file ../../mine", "nonsense"):
            self.sim("get", *words.split(), status=2)
        for path in ("", "..", "/", "/tmp/..", "/../../mine"):
            self.sim("unset", path, status=2)
        for words in ("gpio 163", "file /tmp", "file /etc/nothing", "i2c 2-0c 0x09"):
            self.sim("get", *words.split(), status=1)
        self.sim("unset", "/etc/nothing", status=1)
        self.sim("new", "--board", "generic", status=1)  # the folder is not empty
        self.assertEqual(self.files(self.folder), before)
        os.mkfifo(self.root / "tmp/x")  # nobody writes into it
        (self.root / "tmp/y").touch()
        os.truncate(self.root / "tmp/y", 3 << 30)
        for path in ("/tmp/x", "/tmp/y"):
            self.sim("get", "file", path, status=1)
        with open("/dev/full", "w") as full:
            self.assertEqual(subprocess.run([BIN, "get", self.root, "gpio", "163"], stderr=full).returncode, 1)
            self.assertEqual(subprocess.run([BIN, "get", self.root, "gpio", "111"], stdout=full).returncode, 1)

    def test_a_line_goes_by_its_name_and_new_things_are_added_on_request(self):
        self.sim("set", "gpio", "mains-1-fail", "1")
        self.assertEqual(self.sim("get", "gpio", "211"), "1 in mains-1-fail\n")
        for words in ("gpio 150 1", "i2c 9-0b 0x09 0x01", "hwmon mon-x in0_input -5"):
            self.sim("set", "--new", *words.split())
            self.assertIn(words.split()[-1], self.sim("get", *words.split()[:-1]))

    def test_names_of_devices_registers_and_blocks_have_one_spelling(self):
        for device in ("2-0B", "2-b", "02-0b"):
            self.sim("set", "i2c", device, "0x09", "0x1234")
            self.assertEqual(self.sim("get", "i2c", "2-0b", "9"), "0x1234\n")
            self.sim("set", "i2c", device, "9", "2")
            self.assertEqual(self.sim("get", "i2c", device, "0x9"), "0x02\n")
        self.sim("set", "i2c", "2-0b", "block-7B", "01 02")
        self.assertEqual((self.root / "i2c/2-0b/block-7b").read_text(), "01 02\n")
        before = self.files(self.root)
        for state, there in (("absent", False), ("absent", False), ("present", True), ("present", True)):
            self.sim("set", "i2c", "2-B", state)
            self.assertEqual((self.root / "i2c/2-0b").exists(), there)
        self.assertEqual(self.files(self.root), before)

    def test_ordinary_programs_work_on_the_device(self):
        script = """set -e
            cd /tmp
            echo a=1 > /tmp/system.cfg; cp -p /tmp/system.cfg /tmp/system.cfg.a; mv /tmp/system.cfg.a /tmp/system.cfg.b
            ln /tmp/system.cfg.b /tmp/system.cfg.c; ln -s system.cfg.c /tmp/system.cfg.d; chmod 600 /tmp/system.cfg.c
            chown "$(id -u)" /tmp/system.cfg.c; touch -d @1 /tmp/system.cfg.c; rm /tmp/system.cfg.b
            sed -i s/1/2/ /tmp/system.cfg; mkfifo /tmp/system.cfg.e; mktemp -d /tmp/system.cfg.XXXX; mkdir /tmp/system.cfg.f
            stat -c %a:%Y /tmp/system.cfg.c; cat /tmp/system.cfg /tmp/system.cfg.d
            cd /var/run/hwmon/mon-battery; cat in0_input; ls /var/run/hwmon; ls -d /etc/board* /dev/nul*; ls /etc/persistent/
            cd /tmp; echo .lv*; echo 7 > .lv_active; cat ./.lv*; find /tmp -maxdepth 1 -name .lv_active -size 1; rm .lv_active"""
        said = self.sim("run", "--", "bash", "-c", script).split()
        self.assertEqual(said[1:], ["600:1", "a=2", "a=1", "26150", "mon-battery", "mon-dc-out-1", "/dev/null",
                                    "/etc/board.info", "battery_data", "battery_data_1", ".lv*", "7", "/tmp/.lv_active"])
        names = sorted(path.name for path in (self.root / "tmp").glob("system.cfg*"))
        temporary = pathlib.Path(said[0]).name
        self.assertEqual(names, sorted(["system.cfg"] + ["system.cfg." + c for c in "cdef"] + [temporary]))
        self.assertFalse([path for path in map(pathlib.Path("/tmp").joinpath, names[1:]) if os.path.lexists(path)])

    def test_ends_as_its_program_does_or_with_1(self):
        self.sim("run", "--", "sh", "-c", "exit 7", status=7)
        self.sim("run", "--", "/nonexistent", status=1)

    def test_refuses_to_run_where_its_hooks_would_not_be_loaded(self):
        for name in ("with blank", "with:colon"):
            place = self.folder / name
            (place / "bin").mkdir(parents=True)
            (place / "lib").mkdir()
            shutil.copy(BIN, place / "bin")
            shutil.copy(HOOKS, place / "lib")
            said = self.sim("run", "--", "cat", "/proc/cpuinfo", status=1, program=place / "bin/kvrn-sim")
            self.assertIn("libkvrn-sim.so: a blank, ':' or '$'", said)
