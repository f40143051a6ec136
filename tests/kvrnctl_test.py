# SPDX-License-Identifier: MIT
"""kvrnctl on the simulated device: documents, texts, exit statuses, completion."""
import contextlib
import fcntl
import os
import pty
import re
import struct
import subprocess
import termios
import unittest

from kvrnctl_device import BIN, SOURCE, Device, now

MARKERS = ("-2147483648", "-127", "2147483647", "3932100", "-2147483.648")


class Documents(unittest.TestCase):
    def test_every_command_prints_one_document_even_when_readings_fail(self):
        device = Device("four-source")
        for broken in (False, True):
            if broken:
                os.remove(device.path("/dev/i2c-2"))
                device.set("gpio", "211", "busy")
            for words in (["board"], ["psu"], ["psu", "3"], ["battery"], ["gpio", "get", "211"], ["doctor"],
                          ["get", "psu.2.voltage_mv"], ["psu", "--source", "cache"], ["get"], ["gpio", "list"],
                          ["gpio", "set", "1:dc-out-1", "0", "--dry-run"], ["charge", "enable", "on"],
                          ["charge", "current", "334", "--dry-run"], ["cfg", "interface", "br0"], ["cfg", "check"],
                          ["cfg", "set", "a", "1", "--dry-run"]):
                run = device.run(*words, "--json")
                document = run.json()
                self.assertEqual(document["schema_version"], 2)
                if run.status != 0:
                    self.assertNotEqual(document["errors"], [], words)
                for marker in MARKERS:
                    self.assertNotIn(marker, run.out + device.run(*words).out, words)

    def test_board(self):
        board = Device("four-source").run("board", "--json").json()["board"]
        self.assertEqual((board["system_id"], board["soc"], board["ports"][0]["mac"], board["psu_count"]),
                         ("0xee5a", {"family": "QCA953x", "revision": "0x00000160"}, "02:18:d6:a0:b1:c2", 4))
        unknown = Device("generic")
        os.remove(unknown.path("/proc/cpuinfo"))
        run = unknown.run("board", "--json")
        self.assertEqual((run.status, run.json()["board"]["model"]), (0, "Unknown"))
        self.assertIsNone(run.json()["board"]["soc"]["family"])

    def test_a_board_that_this_account_may_not_read_is_no_success(self):
        device = Device("four-source")
        os.chmod(device.path("/dev/mtdblock5"), 0)
        run = device.run_by_mode("board", "--json")
        self.assertEqual((run.status, run.json()["board"]["model"]), (1, "Generic ar953x"))
        self.assertRegex(run.json()["errors"][0], "^/dev/mtdblock5: Permission denied: ")

    def test_a_default_is_no_reading(self):
        device = Device("four-source")
        device.set("gpio", "211", "busy")
        device.set("hwmon", "mon-battery", "in0_input", "abc")
        device.set("i2c", "2-0b", "0x10", "refuse")
        document = device.run("psu", "--json").json()
        self.assertEqual(document["psu"][0]["state"], None)
        self.assertIsNone(document["psu"][2]["voltage_mv"])
        self.assertEqual((document["psu"][3]["kind"], len(document["psu"][3]["cells"])), ("smart", 7))
        self.assertEqual(document["errors"], ["PSU 0 mains: GPIO 211: Device or resource busy",
                                              "PSU 2 voltage: /var/run/hwmon/mon-battery/in0_input: no number in it",
                                              "PSU 3 full capacity: I2C 2-0b register 0x10: Input/output error"])

    def test_what_was_not_read_is_not_shown_as_read(self):
        for board, change, unknown in (("four-source", "set i2c 2-0b 0x09 refuse", "psu.3.present"),
                                       ("four-source", "set i2c 2 busy", "psu.3.present"),
                                       ("four-source", "set gpio 100 busy", "psu.2.present"),
                                       ("four-source", "set gpio 109 busy", "psu.2.charger_enabled"),
                                       ("four-source", "set gpio 113 busy", "psu.2.highest_charging_current"),
                                       ("four-source", "set gpio 211 busy", "budget.inputs_with_mains"),
                                       ("four-source", "set gpio 211 busy", "state.code"),
                                       ("four-source", "set gpio 111 busy", "outputs.0.enabled"),
                                       ("four-source", "unset /var/run/hwmon/mon-dc-out-1/in0_input", "outputs.0.voltage_mv"),
                                       ("three-source", "unset /var/run/hwmon/mon-dc-out-3/curr1_input", "budget.drawn_mw")):
            device = Device(board)
            verb, *what = change.split()
            device.sim(verb, device.root, *what)
            self.assertNotEqual(device.run(unknown.split(".")[0], "--json").json()["errors"], [], change)
            run = device.run("get", unknown)
            self.assertIn(run.status, (1, 3), change)
            self.assertTrue(run.out == "unknown\n" and "unknown" in run.err, change)
        device = Device("four-source")  # what comes from a fresh image is the image's
        device.publish_psus()
        for line in ("211", "212"):
            device.set("gpio", line, "busy")
        budget = device.run("budget", "--json").json()
        self.assertEqual((budget["source"]["kind"], budget["budget"]["inputs_with_mains"]), ("cache", 2))
        device = Device("four-source")
        os.chmod(device.path("/tmp/.battery_info"), 0)
        self.assertEqual(device.run_by_mode("state").status, 1)

    def test_nothing_is_read_twice(self):
        for board in ("four-source", "three-source"):
            device = Device(board)
            for command in ("psu", "budget", "outputs", "sensors", "doctor"):
                device.sim("trace", device.root, "on")
                device.sim("trace", device.root, "clear")
                device.run(command, "--json")
                reads = [line for line in device.sim("trace", device.root, "show").splitlines()
                         if re.search(r"(open /|gpio \d+ get)", line) and "gpiochip" not in line]
                seen = [re.sub(r"^[\d. ]+", "", line) for line in reads]
                self.assertGreater(len(seen), 3, command)
                self.assertEqual(len(seen), len(set(seen)), (command, seen))


class Sources(unittest.TestCase):
    def test_cache_says_its_age_and_stale_is_status_3(self):
        device = Device("four-source")
        device.publish_psus(now() - 2)
        run = device.run("psu", "--source", "cache", "--json")
        self.assertEqual((run.status, run.json()["source"]["kind"]), (0, "cache"))
        self.assertIn(run.json()["source"]["age_s"], (2, 3))
        self.assertIn("s old", device.run("psu").out)
        device.publish_psus(now() - 60)
        run = device.run("psu", "--source", "cache", "--json")
        self.assertEqual((run.status, run.json()["psu"]), (3, []))
        run = device.run("psu", "--json")
        self.assertEqual((run.status, run.json()["source"]["kind"]), (0, "direct"))
        self.assertIn("old", run.json()["source"]["reason"])
        self.assertEqual(device.run("psu", "--source", "direct", "--json").json()["source"]["kind"], "direct")

    def test_a_cache_that_cannot_be_used_says_why(self):
        device = Device("four-source")
        for size, mode, why in ((None, None, "no such file"), (551, 0o600, "wrong size (551 bytes)"),
                                (552, 0, "/tmp/.psu_info_cache: Permission denied")):
            if size is not None:
                device.publish_psus(size=size)
                os.chmod(device.path("/tmp/.psu_info_cache"), mode)
            run = device.run_by_mode("psu", "--source", "cache")
            self.assertEqual(run.status, 1, why)
            self.assertIn(why, run.err)


class Statuses(unittest.TestCase):
    def test_wrong_usage_is_2_and_another_board_is_4(self):
        for board, status, commands in (
                ("three-source", 0, ("battery", "--help", "psu --help", "--version")), ("generic", 4, ("battery", "get battery")),
                ("three-source", 4, ("psu 3", "get psu.3", "battery 0")),
                ("three-source", 2, ("psu 7", "nonsense", "", "gpio get 399", "gpio set 111 2", "get psu.0.nothing", "get x",
                                     "get psu.02", "psu --source elsewhere"))):
            device = Device(board)
            for command in commands:
                run = device.run(*command.split())
                self.assertEqual(run.status, status, (command, run.err))

    def test_get_prints_the_bare_value(self):
        device = Device("four-source")
        device.set("hwmon", "mon-battery", "in0_input", "25901")
        self.assertEqual(device.run("get", "psu.2.voltage_mv").out, "25901\n")
        self.assertEqual(device.run("get", "psu.2.voltage_mv", "--json").json()["value"], 25901)
        self.assertEqual(device.run("get", "psu.2.charge_pct").status, 4)  # nothing measures it
        device.set("i2c", "2-0b", "absent")  # of which nothing is unknown
        run = device.run("get", "psu.3.voltage_mv")
        self.assertEqual((run.out, run.status), ("", 4))
        self.assertNotIn("unknown", device.run("get", "psu.3").out)
        device.set("i2c", "2-0b", "present")
        device.set("gpio", "211", "busy")
        run = device.run("get", "psu.0.state")
        self.assertEqual((run.out, run.status), ("unknown\n", 1))
        for path in device.run("get").out.split():
            self.assertEqual(device.run("get", path).status, 0, path)
        self.assertEqual(device.run("get", "alarms.output-protection.0.value").out, "0\n")
        self.assertIn("battery.3.cells.1.voltage_mv=", device.run("get", "battery.3").out)

    def test_full_output_device_is_a_failure(self):
        with open("/dev/full", "w") as full:
            done = subprocess.run(Device("generic").command("board"), stdout=full, stderr=subprocess.PIPE, text=True)
        self.assertEqual(done.returncode, 1)
        self.assertIn("cannot write", done.stderr)


class Gpio(unittest.TestCase):
    def test_get_and_set(self):
        device = Device("four-source")
        device.set("gpio", "111", "0")
        self.assertEqual(device.run("gpio", "get", "111").out, "0\n")
        self.assertIn("would drive", device.run("gpio", "set", "111", "1", "--dry-run").out)
        self.assertEqual(device.run("gpio", "get", "111").out, "0\n")
        self.assertEqual(device.run("gpio", "set", "111", "1").status, 0)
        self.assertEqual(device.run("gpio", "get", "111").out, "1\n")
        device.set("gpio", "111", "busy")
        run = device.run("gpio", "get", "111")
        self.assertEqual((run.status, run.out), (1, "unknown\n"))
        self.assertIn("busy", run.err)
        self.assertIn("inactive", device.run("gpio", "set", "--help").out)
        self.assertIn("falsifies", device.run("gpio", "set", "2:mains-1-fail", "1").err)
        self.assertEqual(device.run("gpio", "set", "211", "1", "--force").status, 0)
        device.set("gpio", "212", "busy")
        lines = {entry["line"]: entry for entry in device.run("gpio", "list", "--json").json()["lines"]}
        self.assertEqual([(lines[id]["direction"], lines[id]["held"], lines[id]["use"]) for id in (211, 212)],
                         [("output", False, "PSU 0 mains, 0 = on"), ("input", True, "PSU 1 mains, 0 = on")])


class Doctor(unittest.TestCase):
    def test_names_what_fails_and_what_stands_in(self):
        device = Device("four-source")
        healthy = device.run("doctor", "--json")
        self.assertEqual((healthy.status, healthy.json()["failures"]), (0, 0), healthy.out)
        device.set("gpio", "211", "busy")
        device.set("i2c", "2-0b", "0x09", "refuse")
        os.remove(device.path("/var/run/hwmon/mon-battery/in0_input"))
        os.remove(device.path("/dev/mem"))
        run = device.run("doctor", "--json")
        failed = {probe["where"]: probe for probe in run.json()["probes"] if probe["status"] == "failed"}
        self.assertEqual(run.status, 1)
        self.assertIn("busy", failed["GPIO 211"]["answer"])
        self.assertEqual(failed["GPIO 211"]["stands_in"], "no mains")
        self.assertEqual(failed["/var/run/hwmon/mon-battery/in0_input"]["stands_in"], "0")
        self.assertIn("No such file", failed["/var/run/hwmon/mon-battery/in0_input"]["answer"])
        self.assertEqual(set(failed), {"GPIO 211", "/var/run/hwmon/mon-battery/in0_input", "I2C 2-0b register 0x09", "/dev/mem"})
        for register in ("0x12", "0x1b", "block 0x71"):
            device.set("i2c", "2-0b", register.replace("block 0x", "block-"), "refuse")
            self.assertIn(register, device.run("doctor").out)
        self.assertEqual(device.run("doctor", "--json").json()["failures"], 7)
        device.set("file", "/proc/cpuinfo", "system type : something else\n")
        self.assertEqual(device.run("doctor", "--json").json()["probes"][0]["status"], "failed")
        self.assertIn("Hints", device.run("doctor").out)


class Terminal(unittest.TestCase):
    def on_terminal(self, device, env, *words, rows=0, columns=80, shown=b"", typed=b""):
        master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("4H", rows, columns, 0, 0))
        mode = termios.tcgetattr(slave)
        process = subprocess.Popen(device.command(*words), stdin=slave, stdout=slave, start_new_session=True,
                                   preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0),
                                   env={**os.environ, "TERM": "xterm", **env})
        text = os.read(master, 4096)
        while shown not in text:
            text += os.read(master, 4096)
        os.write(master, typed)
        self.assertEqual(process.wait(20), 0)
        self.assertEqual(termios.tcgetattr(slave), mode)
        os.close(slave)
        with contextlib.suppress(OSError):
            while chunk := os.read(master, 4096):
                text += chunk
        os.close(master)
        return text

    def test_colour_only_there_and_not_with_no_color(self):
        device = Device("four-source")
        self.assertIn(b"\033[32m", self.on_terminal(device, {"NO_COLOR": ""}, "psu"))
        self.assertNotIn(b"\033", self.on_terminal(device, {"NO_COLOR": "1"}, "psu"))
        self.assertNotIn("\033", device.run("psu").out)

    def test_watch_fits_its_window_and_ends_as_it_found_it(self):
        for typed in (b"q", b"\x03"):
            text = self.on_terminal(Device("four-source"), {"NO_COLOR": "1"}, "watch", rows=4, shown=b"Charge", typed=typed)
            self.assertEqual([line.split()[0] for line in text.decode().splitlines()[1:4]], ["State", "Load", "Charge"])
        device = Device("four-source")
        with open(device.path("/tmp/.output_cache"), "wb") as cache:
            cache.write(bytes(80))  # old, which is painted
        text = re.sub(rb"\033\[[?0-9]*[A-Za-z]", b"", self.on_terminal(device, {}, "watch", rows=40, columns=40, shown=b"Load", typed=b"q"))
        self.assertNotIn(b"\033", text)
        self.assertRegex(text, rb"(?m)^Load(?=.{,36}\r$).* 0.0 W of 200.0 W")

    def test_tables_fold_between_words(self):
        device = Device("four-source")
        for words in (["doctor"], ["alarms"], ["sensors"], ["gpio", "list"]):
            self.assertLessEqual(max(map(len, device.run(*words).out.splitlines())), 80, words)


class Completion(unittest.TestCase):
    def complete(self, device, line):
        tool = line.split()[0]
        script = f"""
          source /usr/share/bash-completion/bash_completion
          source {SOURCE}/{"sim" if tool == "kvrn-sim" else "tools/" + tool}/{tool}.bash
          COMP_LINE={line!r}; COMP_POINT=${{#COMP_LINE}}
          read -ra COMP_WORDS <<< "$COMP_LINE"; [[ $COMP_LINE == *' ' ]] && COMP_WORDS+=('')
          COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1))
          _{tool.replace('-', '_')} 2>/dev/null; printf '%s\\n' "${{COMPREPLY[@]}}" """
        done = subprocess.run([BIN + "/kvrn-sim", "run", device.root, "--", "bash", "-c", script], capture_output=True,
                              text=True, env={**os.environ, "PATH": BIN + ":" + os.environ["PATH"]})
        return done.stdout.split()

    @unittest.skipUnless(os.path.exists("/usr/share/bash-completion/bash_completion"), "no bash-completion")
    def test_commands_options_and_paths(self):
        device = Device("four-source")
        device.set("file", "/tmp/system.cfg", "radio.1.mode=ap\nradio.1.band=5\n")
        for line, choices in (
                ("kvrnctl p", "psu"), ("kvrnctl gpio ", "get set list --help"), ("kvrnctl gpio set 11", "111 113 115"),
                ("kvrnctl gpio set 1:dc", "dc-out-1"), ("kvrnctl battery 2", "2"), ("kvrnctl psu --source c", "cache"),
                ("kvrnctl charge current --psu 3 6", "667"), ("kvrnctl charge current 10", "1000"),
                ("kvrnctl alarms set ov", "overload-request.0 overload-request.1"), ("kvrnctl help al", "alarms"),
                ("kvrnctl get psu.2.volt", "psu.2.voltage_mv"), ("kvrnctl cfg set radio.1.m", "radio.1.mode"),
                ("kvrnctl cfg get --type u", "uint"), ("kvrnctl cfg ren", "renumber"), ("kvrnctl snmp ", "dump --help"),
                ("kvrnctl sensors --format ", "text prometheus nut"),
                ("kvrnctl alarms --check --ignore low", "low-voltage-all low-voltage.2 low-voltage.3"),
                ("kvrn-monitord --p", "--period --pid-file"), ("kvrn-agentd --user nob", "nobody"),
                ("kvrn-agentd --m", "--max-age --module"), ("kvrn-sim set ROOT gpio mains-1", "mains-1-fail"),
                ("kvrn-sim set ROOT gpio 211 b", "busy"), ("kvrn-sim set ROOT i2c 2-0b 0x0", "0x00 0x03 0x08 0x09 0x0a 0x0f"),
                ("kvrn-sim set ROOT i2c 2-0b a", "absent"), ("kvrn-sim set ROOT i2c 2 ", "busy free"),
                ("kvrn-sim get ROOT hwmon mon-battery c", "curr1_input"), ("kvrn-sim unset ROOT /tmp/sy", "/tmp/system.cfg"),
                ("kvrn-sim set --new ROOT file /tmp/sys", "/tmp/system.cfg"), ("kvrn-sim new x --board g", "generic"),
                ("kvrn-sim trace ROOT c", "clear"), ("kvrn-sim help tr", "trace")):
            self.assertEqual(self.complete(device, line.replace("ROOT", device.root)), choices.split(), line)
        self.assertIn("battery.3", self.complete(device, "kvrnctl get battery."))
